// OpenEXR output of image maps.
//
//   BM_KImageMapSave / BM_OpenExrDirect   a 4096 x 4096 RGBA float collision map written by
//                                         KImageMap::save and by OpenEXR called directly with the
//                                         same compression, in the same run (goal: <= 1.1x)
//   BM_CollisionMapCompression/<c>        a 2048 x 2048 map at each lossless compression, with the
//                                         file size as a counter (the table in KGLResources.h)
//   BM_ReadbackAndSave                    one 2048 x 2048 map rendered offscreen, read back and
//                                         saved, as the collision map generator does per frame
#include <kelno/KGL.h>
#include <kelno/KGLResources.h>

#include "support/KGLTestContext.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>

namespace {

std::string outPath(const char* name) { return std::string(KELNO_BENCH_WORK_DIR) + "/" + name; }

// A collision map as the generator leaves it: UV islands (alpha 1) on an empty background,
// grey 0 except around a few contact spots where it falls off smoothly, every value a multiple
// of 1/255 (the 8-bit colour texture it is read back from).
void fillCollisionMap(Kelno::KImageMap& map, int size) {
    map.set(size, size, 4);
    float* p = map.data();
    const double spots[4][3] = {{0.2, 0.3, 0.05}, {0.55, 0.6, 0.08}, {0.8, 0.2, 0.03}, {0.35, 0.8, 0.06}};
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const double u = (x + 0.5) / size, v = (y + 0.5) / size;
            // Islands: a 3 x 3 grid of rounded blocks covering a bit over half of UV space.
            const double cu = std::fmod(u * 3.0, 1.0) - 0.5, cv = std::fmod(v * 3.0, 1.0) - 0.5;
            const bool inside = cu * cu * cu * cu + cv * cv * cv * cv < 0.025;
            if (!inside)
                continue;
            double grey = 0.0;
            for (const auto& s : spots) {
                const double d = std::hypot(u - s[0], v - s[1]);
                grey = std::max(grey, 1.0 - d / s[2]);
            }
            const float g = std::round(static_cast<float>(std::max(0.0, grey)) * 255.0f) / 255.0f;
            float* px = p + (static_cast<size_t>(y) * size + x) * 4;
            px[0] = px[1] = px[2] = g;
            px[3] = 1.0f;
        }
}

void writeDirect(const Kelno::KImageMap& map, const std::string& path, Imf::Compression compression) {
    Imf::Header header(map.width(), map.height());
    header.compression() = compression;
    Imf::FrameBuffer frame;
    const char* names[] = {"R", "G", "B", "A"};
    const size_t xStride = sizeof(float) * 4, yStride = xStride * static_cast<size_t>(map.width());
    for (int c = 0; c < 4; ++c) {
        header.channels().insert(names[c], Imf::Channel(Imf::FLOAT));
        frame.insert(names[c],
                     Imf::Slice(Imf::FLOAT, const_cast<char*>(reinterpret_cast<const char*>(map.data() + c)),
                                xStride, yStride));
    }
    Imf::OutputFile file(path.c_str(), header);
    file.setFrameBuffer(frame);
    file.writePixels(map.height());
}

const Kelno::KImageMap& map4k() {
    static Kelno::KImageMap map;
    if (!map.data())
        fillCollisionMap(map, 4096);
    return map;
}

void BM_KImageMapSave(benchmark::State& state) {
    const Kelno::KImageMap& map = map4k();
    const std::string path = outPath("bench_kimagemap.exr");
    for (auto _ : state)
        if (!map.save(path.c_str(), Kelno::KImageFormat::kOpenEXR))
            state.SkipWithError("save failed");
    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(path));
}
BENCHMARK(BM_KImageMapSave)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_OpenExrDirect(benchmark::State& state) {
    const Kelno::KImageMap& map = map4k();
    const std::string path = outPath("bench_direct.exr");
    for (auto _ : state)
        writeDirect(map, path, Imf::ZIP_COMPRESSION);
    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(path));
}
BENCHMARK(BM_OpenExrDirect)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_CollisionMapCompression(benchmark::State& state) {
    static Kelno::KImageMap map;
    if (!map.data())
        fillCollisionMap(map, 2048);
    const auto compression = static_cast<Imf::Compression>(state.range(0));
    const std::string path = outPath("bench_compression.exr");
    for (auto _ : state)
        writeDirect(map, path, compression);
    state.counters["MB"] = static_cast<double>(std::filesystem::file_size(path)) / (1024.0 * 1024.0);
    const char* names[] = {"NONE", "RLE", "ZIPS", "ZIP", "PIZ"};
    state.SetLabel(names[std::min<int64_t>(state.range(0), 4)]);
}
BENCHMARK(BM_CollisionMapCompression)
    ->Arg(Imf::NO_COMPRESSION)
    ->Arg(Imf::RLE_COMPRESSION)
    ->Arg(Imf::ZIPS_COMPRESSION)
    ->Arg(Imf::ZIP_COMPRESSION)
    ->Arg(Imf::PIZ_COMPRESSION)
    ->Unit(benchmark::kMillisecond);

void BM_ReadbackAndSave(benchmark::State& state) {
    const int R = 2048;
    KelnoTest::GLTestContext context;
    if (!context.valid()) {
        state.SkipWithError(context.reason().c_str());
        return;
    }
    Kelno::KGlTex2D texture;
    Kelno::KGlRbo depth;
    Kelno::KGlFbo fbo;
    texture.create(R, R, GL_RGBA, GL_RGBA, GL_FLOAT);
    depth.create(R, R, GL_DEPTH_COMPONENT);
    fbo.create(texture, depth);
    Kelno::KImageMap map;
    map.set(R, R, 4);
    fbo.bind();
    glViewport(0, 0, R, R);
    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    glBegin(GL_TRIANGLES);
    glColor4f(1, 1, 1, 1), glVertex2f(-0.9f, -0.9f);
    glColor4f(0, 0, 0, 1), glVertex2f(0.9f, -0.9f), glVertex2f(0.0f, 0.9f);
    glEnd();
    const std::string path = outPath("bench_readback.exr");
    for (auto _ : state) {
        glReadBuffer(GL_COLOR_ATTACHMENT0);
        glReadPixels(0, 0, R, R, GL_RGBA, GL_FLOAT, map.data());
        map.save(path.c_str(), Kelno::KImageFormat::kOpenEXR);
    }
    Kelno::KGlFbo::unbind();
}
BENCHMARK(BM_ReadbackAndSave)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
