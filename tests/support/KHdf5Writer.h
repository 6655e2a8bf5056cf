// A small writer of HDF5-backed Alembic archives (HDF5 C API), for tests and benchmarks only.
//
// It writes the scenes of KOgawaWriter.h (MeshScene) in the HDF5 back end's layout: one group per
// object below /ABC, each object's properties under its ".prop" group, property headers as
// NAME.info / NAME.meta attributes on the parent compound's group, scalar samples as attributes
// (NAME.smp0, then NAME.smpi/0001 ...), array samples as datasets (same names), time samplings
// and the version attributes on the root group, and creation order tracked everywhere.
// Identical samples are written again rather than linked.
#pragma once

#include "KOgawaWriter.h"

#include <hdf5.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace KelnoTest {

class Hdf5Writer {
  public:
    enum Pod : unsigned { Bool = 0, U8 = 1, I8 = 2, I32 = 6, F32 = 10, F64 = 11, String = 12 };

    explicit Hdf5Writer(const std::string& path) {
        H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
        const hid_t fcpl = H5Pcreate(H5P_FILE_CREATE);
        H5Pset_link_creation_order(fcpl, H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED);
        H5Pset_attr_creation_order(fcpl, H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED);
        m_file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, fcpl, H5P_DEFAULT);
        H5Pclose(fcpl);
        if (m_file < 0)
            throw std::runtime_error("cannot write " + path);
        m_groupProperties = H5Pcreate(H5P_GROUP_CREATE);
        H5Pset_link_creation_order(m_groupProperties, H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED);
        H5Pset_attr_creation_order(m_groupProperties, H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED);
        m_root = H5Gopen2(m_file, "/", H5P_DEFAULT);
    }
    ~Hdf5Writer() {
        H5Gclose(m_root);
        H5Pclose(m_groupProperties);
        H5Fclose(m_file);
    }
    Hdf5Writer(const Hdf5Writer&) = delete;
    Hdf5Writer& operator=(const Hdf5Writer&) = delete;

    hid_t root() const { return m_root; }
    hid_t group(hid_t parent, const std::string& name) {
        const hid_t g = H5Gcreate2(parent, name.c_str(), H5P_DEFAULT, m_groupProperties, H5P_DEFAULT);
        if (g < 0)
            throw std::runtime_error("cannot create group " + name);
        return g;
    }

    static void numbers(hid_t at, const std::string& name, hid_t fileType, hid_t memType, const void* values,
                        hsize_t count, bool scalarSpace = false) {
        const hid_t space = scalarSpace ? H5Screate(H5S_SCALAR) : H5Screate_simple(1, &count, nullptr);
        const hid_t a = H5Acreate2(at, name.c_str(), fileType, space, H5P_DEFAULT, H5P_DEFAULT);
        if (a < 0 || H5Awrite(a, memType, values) < 0)
            throw std::runtime_error("cannot write attribute " + name);
        H5Aclose(a);
        H5Sclose(space);
    }
    static void text(hid_t at, const std::string& name, const std::string& value) {
        const hid_t type = H5Tcopy(H5T_C_S1);
        H5Tset_size(type, value.size() + 1);
        H5Tset_strpad(type, H5T_STR_NULLTERM);
        const hid_t space = H5Screate(H5S_SCALAR);
        const hid_t a = H5Acreate2(at, name.c_str(), type, space, H5P_DEFAULT, H5P_DEFAULT);
        if (a < 0 || H5Awrite(a, type, value.c_str()) < 0)
            throw std::runtime_error("cannot write attribute " + name);
        H5Aclose(a);
        H5Sclose(space);
        H5Tclose(type);
    }

    // NAME.info (and NAME.meta) on a compound's group. Every header here names its sample count,
    // first and last changed sample and (when not 0) its time sampling.
    void header(hid_t compound, const std::string& name, unsigned kind, unsigned pod, unsigned extent,
                unsigned numSamples, bool constant, unsigned timeSampling, const std::string& meta) {
        std::vector<unsigned> info;
        if (kind == 0) {
            info.push_back(0);
        } else {
            info.push_back(kind | (pod << 2) | (timeSampling ? 0x40u : 0u) | (extent << 8));
            info.push_back(numSamples);
            info.push_back(constant || numSamples < 2 ? 0 : 1);
            info.push_back(constant || numSamples < 2 ? 0 : numSamples - 1);
            if (timeSampling)
                info.push_back(timeSampling);
        }
        numbers(compound, name + ".info", H5T_STD_U32LE, H5T_NATIVE_UINT, info.data(), info.size());
        if (!meta.empty())
            text(compound, name + ".meta", meta);
    }

    // A scalar property: one value of extent elements per sample (raw native bytes, extent * size).
    void scalar(hid_t compound, const std::string& name, unsigned pod, unsigned extent, hid_t fileType,
                hid_t memType, const std::vector<std::vector<unsigned char>>& perSample,
                unsigned timeSampling) {
        const bool constant = allSame(perSample);
        header(compound, name, 1, pod, extent, static_cast<unsigned>(perSample.size()), constant,
               timeSampling, "");
        hid_t smpi = -1;
        for (std::size_t i = 0; i < (constant ? 1 : perSample.size()); ++i) {
            if (i == 1)
                smpi = group(compound, name + ".smpi");
            numbers(i == 0 ? compound : smpi, i == 0 ? name + ".smp0" : slotName(i), fileType, memType,
                    perSample[i].data(), extent, extent == 1);
        }
        if (smpi >= 0)
            H5Gclose(smpi);
    }

    // An array property: each sample a run of count * extent values.
    void array(hid_t compound, const std::string& name, unsigned pod, unsigned extent, hid_t fileType,
               hid_t memType, const std::vector<std::pair<const void*, hsize_t>>& perSample, bool constant,
               unsigned timeSampling, const std::string& meta) {
        constant = constant || perSample.size() < 2;
        header(compound, name, 2, pod, extent, static_cast<unsigned>(perSample.size()), constant,
               timeSampling, meta);
        hid_t smpi = -1;
        for (std::size_t i = 0; i < (constant ? 1 : perSample.size()); ++i) {
            if (i == 1)
                smpi = group(compound, name + ".smpi");
            const hsize_t n = perSample[i].second * extent;
            const hid_t space = n ? H5Screate_simple(1, &n, nullptr) : H5Screate(H5S_NULL);
            const std::string dataset = i == 0 ? name + ".smp0" : slotName(i);
            const hid_t d = H5Dcreate2(i == 0 ? compound : smpi, dataset.c_str(), fileType, space,
                                       H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
            if (d < 0 || (n && H5Dwrite(d, memType, H5S_ALL, H5S_ALL, H5P_DEFAULT, perSample[i].first) < 0))
                throw std::runtime_error("cannot write dataset " + dataset);
            const unsigned char key[16] = {};
            numbers(d, "key", H5T_STD_U8LE, H5T_NATIVE_UCHAR, key, 16);
            H5Dclose(d);
            H5Sclose(space);
        }
        if (smpi >= 0)
            H5Gclose(smpi);
    }

    // Time sampling i (1, 2, ...): uniform.
    void uniformSampling(unsigned index, double step, double start) {
        numbers(m_root, std::to_string(index) + ".ttpc", H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, &step, 1, true);
        numbers(m_root, std::to_string(index) + ".time", H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, &start, 1);
    }

    // The version attributes and the maximum sample count of each sampling (0 first).
    void versions(const std::vector<long long>& maxSamples) {
        const int version = -8;
        const int release = 10812;
        numbers(m_root, "abc_version", H5T_STD_I32LE, H5T_NATIVE_INT, &version, 1);
        numbers(m_root, "abc_release_version", H5T_STD_I32LE, H5T_NATIVE_INT, &release, 1);
        numbers(m_root, "abc_max_samples", H5T_STD_I64LE, H5T_NATIVE_LLONG, maxSamples.data(),
                maxSamples.size());
    }

    // An object group: ".prop.info" (a compound) and its metadata, and its ".prop" group.
    hid_t object(hid_t parent, const std::string& name, const std::string& meta, hid_t& properties) {
        const hid_t g = group(parent, name);
        header(g, ".prop", 0, 0, 0, 0, true, 0, meta);
        properties = group(g, ".prop");
        return g;
    }

  private:
    static std::string slotName(std::size_t i) {
        char name[16];
        std::snprintf(name, sizeof(name), "%04u", static_cast<unsigned>(i));
        return name;
    }
    static bool allSame(const std::vector<std::vector<unsigned char>>& v) {
        for (const auto& s : v)
            if (s != v[0])
                return false;
        return true;
    }

    hid_t m_file = -1;
    hid_t m_root = -1;
    hid_t m_groupProperties = -1;
};

// Writes the scene in the HDF5 back end: the same objects, properties and values as
// writeMeshScene (KOgawaWriter.h) writes with Ogawa.
inline void writeMeshSceneHdf5(const std::string& path, const MeshScene& scene) {
    Hdf5Writer w(path);
    const unsigned samples = static_cast<unsigned>(scene.positions.size());
    const unsigned xformSamples = static_cast<unsigned>(scene.translateX.size());
    w.uniformSampling(1, scene.meshStep, scene.meshStart);
    const unsigned xts = scene.xformStep > 0 ? 2 : 1;
    if (xts == 2)
        w.uniformSampling(2, scene.xformStep, scene.xformStart);
    std::vector<long long> maxSamples{1, xts == 2 ? samples : std::max(samples, xformSamples)};
    if (xts == 2)
        maxSamples.push_back(xformSamples);
    w.versions(maxSamples);

    auto bytesOf = [](const void* p, std::size_t n) {
        const unsigned char* b = static_cast<const unsigned char*>(p);
        return std::vector<unsigned char>(b, b + n);
    };
    auto writeXform = [&](hid_t top, const std::vector<double>& xyz, unsigned timeSampling) {
        w.header(top, ".xform", 0, 0, 0, 0, true, 0, "schema=AbcGeom_Xform_v3");
        const hid_t xform = w.group(top, ".xform");
        const std::size_t n = xyz.size() / 3;
        w.scalar(xform, ".inherits", Hdf5Writer::Bool, 1, H5T_STD_U8LE, H5T_NATIVE_UCHAR,
                 std::vector<std::vector<unsigned char>>(n, {1}), timeSampling);
        w.scalar(xform, ".ops", Hdf5Writer::U8, 1, H5T_STD_U8LE, H5T_NATIVE_UCHAR,
                 std::vector<std::vector<unsigned char>>(n, {0x10}), 0);
        std::vector<std::vector<unsigned char>> vals;
        for (std::size_t i = 0; i < n; ++i)
            vals.push_back(bytesOf(&xyz[3 * i], 24));
        w.scalar(xform, ".vals", Hdf5Writer::F64, 3, H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, vals, timeSampling);
        H5Gclose(xform);
    };

    hid_t abcProperties = -1;
    const hid_t abc = w.object(w.root(), "ABC", "_ai_Application=kelno test writer", abcProperties);
    hid_t xformTop = -1;
    const hid_t xform = w.object(abc, "xform", xformSchemaMetaData(), xformTop);
    std::vector<double> xyz;
    for (double x : scene.translateX)
        xyz.insert(xyz.end(), {x, 0.0, 0.0});
    writeXform(xformTop, xyz, xts);
    if (!scene.visible.empty()) {
        std::vector<std::vector<unsigned char>> visible;
        for (std::int8_t v : scene.visible)
            visible.push_back(bytesOf(&v, 1));
        w.scalar(xformTop, "visible", Hdf5Writer::I8, 1, H5T_STD_I8LE, H5T_NATIVE_SCHAR, visible, xts);
    }
    hid_t meshTop = -1;
    const hid_t mesh = w.object(xform, "mesh", meshSchemaMetaData(), meshTop);
    w.header(meshTop, ".geom", 0, 0, 0, 0, true, 0,
             "schema=AbcGeom_PolyMesh_v1;schemaBaseType=AbcGeom_GeomBase_v1");
    const hid_t geom = w.group(meshTop, ".geom");
    std::vector<std::pair<const void*, hsize_t>> p, counts, indices;
    for (const auto& s : scene.positions) {
        p.emplace_back(s.data(), s.size() / 3);
        counts.emplace_back(scene.faceCounts.data(), scene.faceCounts.size());
        indices.emplace_back(scene.faceIndices.data(), scene.faceIndices.size());
    }
    w.array(geom, "P", Hdf5Writer::F32, 3, H5T_IEEE_F32LE, H5T_NATIVE_FLOAT, p, false, 1,
            "geoScope=vtx;interpretation=point");
    w.array(geom, ".faceIndices", Hdf5Writer::I32, 1, H5T_STD_I32LE, H5T_NATIVE_INT, indices, true, 1, "");
    w.array(geom, ".faceCounts", Hdf5Writer::I32, 1, H5T_STD_I32LE, H5T_NATIVE_INT, counts, true, 1, "");
    for (hid_t g : {geom, meshTop, mesh, xformTop, xform})
        H5Gclose(g);

    if (!scene.instanceSource.empty()) {
        hid_t groupTop = -1;
        const hid_t group = w.object(abc, "group", xformSchemaMetaData(), groupTop);
        writeXform(groupTop, {0.0, 10.0, 0.0}, 0);
        hid_t instanceTop = -1;
        const hid_t instance = w.object(group, "inst", "isInstance=1", instanceTop);
        w.header(instanceTop, ".instanceSource", 1, Hdf5Writer::String, 1, 1, true, 0, "");
        w.text(instanceTop, ".instanceSource.smp0", scene.instanceSource);
        for (hid_t g : {instanceTop, instance, groupTop, group})
            H5Gclose(g);
    }
    H5Gclose(abcProperties);
    H5Gclose(abc);
}

} // namespace KelnoTest
