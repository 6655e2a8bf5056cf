// Embree 3 point queries: rtcPointQuery over a triangle geometry with a closest-point callback
// (the scalar region-by-region closest point on a triangle, in single precision).
#include "ClosestPointEngines.h"

#include <embree3/rtcore.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <sys/types.h>

namespace KelnoBench {

namespace {

struct V3 {
    float x, y, z;
};
inline V3 sub(V3 a, V3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline float dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline V3 madd(V3 a, V3 d, float s) { return {a.x + d.x * s, a.y + d.y * s, a.z + d.z * s}; }

V3 closestOnTriangle(V3 p, V3 a, V3 b, V3 c) {
    const V3 ab = sub(b, a), ac = sub(c, a), ap = sub(p, a);
    const float d1 = dot(ab, ap), d2 = dot(ac, ap);
    if (d1 <= 0 && d2 <= 0)
        return a;
    const V3 bp = sub(p, b);
    const float d3 = dot(ab, bp), d4 = dot(ac, bp);
    if (d3 >= 0 && d4 <= d3)
        return b;
    const float vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0)
        return madd(a, ab, d1 / (d1 - d3));
    const V3 cp = sub(p, c);
    const float d5 = dot(ab, cp), d6 = dot(ac, cp);
    if (d6 >= 0 && d5 <= d6)
        return c;
    const float vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0)
        return madd(a, ac, d2 / (d2 - d6));
    const float va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0)
        return madd(b, sub(c, b), (d4 - d3) / ((d4 - d3) + (d5 - d6)));
    const float denom = 1.0f / (va + vb + vc);
    return madd(madd(a, ab, vb * denom), ac, vc * denom);
}

struct QueryState {
    const float* vertices;
    const unsigned* indices;
    V3 p;
    float d2;
    int triangle;
};

bool closestCallback(RTCPointQueryFunctionArguments* args) {
    QueryState& q = *static_cast<QueryState*>(args->userPtr);
    const unsigned* t = q.indices + 3 * args->primID;
    const float* v = q.vertices;
    const V3 a{v[4 * t[0]], v[4 * t[0] + 1], v[4 * t[0] + 2]};
    const V3 b{v[4 * t[1]], v[4 * t[1] + 1], v[4 * t[1] + 2]};
    const V3 c{v[4 * t[2]], v[4 * t[2] + 1], v[4 * t[2] + 2]};
    const V3 r = sub(closestOnTriangle(q.p, a, b, c), q.p);
    const float d2 = dot(r, r);
    if (d2 < q.d2) {
        q.d2 = d2;
        q.triangle = static_cast<int>(args->primID);
        args->query->radius = std::sqrt(d2);
        return true; // the query sphere shrank
    }
    return false;
}

bool trackMemory(void* user, ssize_t bytes, bool) {
    static_cast<std::atomic<long long>*>(user)->fetch_add(bytes);
    return true;
}

class EmbreeEngine : public ClosestPointEngine {
  public:
    EmbreeEngine() {
        m_device = rtcNewDevice(nullptr);
        rtcSetDeviceMemoryMonitorFunction(m_device, trackMemory, &m_bytes);
    }
    ~EmbreeEngine() override {
        if (m_scene)
            rtcReleaseScene(m_scene);
        rtcReleaseDevice(m_device);
    }
    std::string name() const override { return "Embree"; }

    void build(const Kelno::KTriMesh& mesh) override {
        if (m_scene)
            rtcReleaseScene(m_scene);
        m_scene = rtcNewScene(m_device);
        RTCGeometry geom = rtcNewGeometry(m_device, RTC_GEOMETRY_TYPE_TRIANGLE);
        float* v = static_cast<float*>(rtcSetNewGeometryBuffer(
            geom, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 4 * sizeof(float), mesh.positions.size()));
        for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
            v[4 * i] = mesh.positions[i].x;
            v[4 * i + 1] = mesh.positions[i].y;
            v[4 * i + 2] = mesh.positions[i].z;
            v[4 * i + 3] = 0.0f;
        }
        unsigned* idx = static_cast<unsigned*>(rtcSetNewGeometryBuffer(
            geom, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), mesh.triangles.size()));
        for (std::size_t t = 0; t < mesh.triangles.size(); ++t)
            for (int k = 0; k < 3; ++k)
                idx[3 * t + k] = static_cast<unsigned>(mesh.triangles[t][k]);
        m_vertices = v;
        m_indices = idx;
        rtcCommitGeometry(geom);
        rtcAttachGeometry(m_scene, geom);
        rtcReleaseGeometry(geom);
        rtcCommitScene(m_scene);
    }

    void closest(const Kelno::KVector* points, int count, int threads, Hit* out) const override {
#pragma omp parallel for num_threads(threads) schedule(static, 256)
        for (int i = 0; i < count; ++i) {
            QueryState state{m_vertices,
                             m_indices,
                             {points[i].x, points[i].y, points[i].z},
                             std::numeric_limits<float>::infinity(),
                             -1};
            RTCPointQuery query;
            query.x = points[i].x;
            query.y = points[i].y;
            query.z = points[i].z;
            query.radius = std::numeric_limits<float>::infinity();
            query.time = 0.0f;
            RTCPointQueryContext context;
            rtcInitPointQueryContext(&context);
            rtcPointQuery(m_scene, &query, &context, closestCallback, &state);
            out[i].d2 = state.d2;
            out[i].triangle = state.triangle;
        }
    }

    long long boxes(const Kelno::KVector*, const Kelno::KVector*, int, int) const override { return -1; }

    std::size_t bytes() const override { return static_cast<std::size_t>(m_bytes.load()); }

  private:
    RTCDevice m_device = nullptr;
    RTCScene m_scene = nullptr;
    const float* m_vertices = nullptr;
    const unsigned* m_indices = nullptr;
    std::atomic<long long> m_bytes{0};
};

} // namespace

std::unique_ptr<ClosestPointEngine> makeEmbreeEngine() {
    return std::unique_ptr<ClosestPointEngine>(new EmbreeEngine);
}

} // namespace KelnoBench
