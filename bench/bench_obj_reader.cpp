// Throughput of the OBJ sequence reader against the plain cost of getting a file's bytes into
// memory and, when it is installed, against tinyobjloader on the same files.
//
// Files: the largest real scan of the shared data (meshes/lucy_100k.obj) and a generated file of
// a few hundred MB of v and f records (quads, triangles, "f a/b/c" and "f a//c" forms), written
// once into the build folder on the first run. Throughput is reported as bytes_per_second of
// the file's size; compare the medians of --benchmark_repetitions=3 runs.
//
//   build/bench/bench_obj_reader --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
//
// KELNO_BENCH_OBJ_MB overrides the generated file's size in MB (default 300).
#include <kelno/KObjSequence.h>

#include <benchmark/benchmark.h>

#if defined(KELNO_BENCH_HAVE_TINYOBJ)
#include <tiny_obj_loader.h>
#endif

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

long long fileSize(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}

// The plain way of getting a file's bytes into memory: a fresh buffer of the file's size and one
// read. The baseline the reader's throughput is compared with.
std::size_t readWholeFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    struct stat info;
    ::fstat(fd, &info);
    const std::size_t capacity = static_cast<std::size_t>(info.st_size);
    std::unique_ptr<char, decltype(&std::free)> buffer(static_cast<char*>(std::malloc(capacity + 1)),
                                                       &std::free);
    std::size_t size = 0;
    while (buffer && size < capacity) {
        const ssize_t got = ::read(fd, buffer.get() + size, capacity - size);
        if (got <= 0)
            break;
        size += static_cast<std::size_t>(got);
    }
    ::close(fd);
    benchmark::DoNotOptimize(buffer.get());
    benchmark::ClobberMemory();
    return size;
}

// A wavy grid of `columns` x `rows` vertices; one face record per cell, cycling through a quad,
// a triangle pair, a quad with "a/b/c" indices and a triangle pair with "a//c" indices. A few
// texture coordinates and normals are listed first so every index in the file is valid.
void writeGeneratedFile(const std::string& path, long long targetBytes) {
    const int columns = 2000;
    const int extras = 1000;
    // About 90 bytes per cell (one v line and about one f line).
    const int rows = static_cast<int>(targetBytes / (90LL * columns)) + 2;
    const std::string temporary = path + ".partial";
    FILE* out = std::fopen(temporary.c_str(), "wb");
    if (out == nullptr) {
        std::cerr << "cannot write " << temporary << "\n";
        std::exit(1);
    }
    std::mt19937 random(5);
    std::uniform_real_distribution<double> noise(-0.001, 0.001);
    std::string text;
    text.reserve(1 << 22);
    auto flush = [&]() {
        std::fwrite(text.data(), 1, text.size(), out);
        text.clear();
    };
    char line[128];
    text += "# generated for bench_obj_reader\n";
    for (int i = 0; i < extras; ++i) {
        std::snprintf(line, sizeof line, "vt %.6f %.6f\nvn 0.000000 1.000000 %.6f\n", i / 1000.0,
                      1.0 - i / 1000.0, noise(random));
        text += line;
    }
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            const double x = c * 0.125 - 125.0, z = r * 0.125 - 100.0;
            std::snprintf(line, sizeof line, "v %.6f %.6f %.6f\n", x,
                          3.0 * std::sin(x * 0.05) + noise(random), z);
            text += line;
        }
        if (text.size() > (1u << 21))
            flush();
    }
    auto index = [columns](int r, int c) { return r * columns + c + 1; };
    auto appendInt = [&text](long long value) {
        char digits[24];
        const auto result = std::to_chars(digits, digits + sizeof digits, value);
        text.append(digits, result.ptr);
    };
    for (int r = 0; r + 1 < rows; ++r) {
        for (int c = 0; c + 1 < columns; ++c) {
            const int a = index(r, c), b = index(r, c + 1), d = index(r + 1, c + 1), e = index(r + 1, c);
            const int t = 1 + (a % extras);
            switch ((r + c) % 4) {
            case 0:
                text += "f ";
                for (int v : {a, b, d, e}) {
                    appendInt(v);
                    text += ' ';
                }
                text.back() = '\n';
                break;
            case 1:
                text += "f ";
                appendInt(a), text += ' ', appendInt(b), text += ' ', appendInt(d), text += "\nf ";
                appendInt(a), text += ' ', appendInt(d), text += ' ', appendInt(e), text += '\n';
                break;
            case 2:
                text += "f ";
                for (int v : {a, b, d, e}) {
                    appendInt(v), text += '/', appendInt(t), text += '/', appendInt(t);
                    text += ' ';
                }
                text.back() = '\n';
                break;
            default:
                text += "f ";
                for (int v : {a, b, d}) {
                    appendInt(v), text += "//", appendInt(t);
                    text += ' ';
                }
                text.back() = '\n';
                text += "f ";
                for (int v : {a, d, e}) {
                    appendInt(v), text += "//", appendInt(t);
                    text += ' ';
                }
                text.back() = '\n';
                break;
            }
        }
        if (text.size() > (1u << 21))
            flush();
    }
    flush();
    std::fclose(out);
    std::rename(temporary.c_str(), path.c_str());
}

// Only the reader's own input side: the file in 1 MiB blocks through one reused buffer, no parsing.
std::size_t readInBlocks(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return 0;
    std::setvbuf(file, nullptr, _IONBF, 0);
    std::vector<char> block(std::size_t(1) << 20);
    std::size_t total = 0, got;
    while ((got = std::fread(block.data(), 1, block.size(), file)) > 0) {
        total += got;
        benchmark::DoNotOptimize(block.data());
        benchmark::ClobberMemory();
    }
    std::fclose(file);
    return total;
}

void setThroughput(benchmark::State& state, long long bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
}

void benchPlainRead(benchmark::State& state, const std::string& path) {
    const long long bytes = fileSize(path);
    for (auto _ : state)
        benchmark::DoNotOptimize(readWholeFile(path));
    setThroughput(state, bytes);
}

void benchReadInBlocks(benchmark::State& state, const std::string& path) {
    const long long bytes = fileSize(path);
    for (auto _ : state)
        benchmark::DoNotOptimize(readInBlocks(path));
    setThroughput(state, bytes);
}

// The loader's case: the node keeps its arrays and reads the next frame into them.
void benchKelnoReuse(benchmark::State& state, const std::string& path) {
    const long long bytes = fileSize(path);
    Kelno::KObjMesh mesh;
    Kelno::ReadObjFile(path, mesh); // the previous frame
    for (auto _ : state) {
        if (!Kelno::ReadObjFile(path, mesh))
            state.SkipWithError("cannot open the file");
        benchmark::DoNotOptimize(mesh.points.data());
    }
    state.counters["vertices"] = static_cast<double>(mesh.points.size());
    state.counters["faces"] = static_cast<double>(mesh.polygonCounts.size());
    setThroughput(state, bytes);
}

// Parsing alone, from bytes already in memory, into a reused mesh.
void benchKelnoParseOnly(benchmark::State& state, const std::string& path) {
    std::FILE* in = std::fopen(path.c_str(), "rb");
    std::string bytes(static_cast<std::size_t>(std::max(0LL, fileSize(path))), '\0');
    if (in == nullptr || std::fread(&bytes[0], 1, bytes.size(), in) != bytes.size())
        state.SkipWithError("cannot read the file");
    if (in != nullptr)
        std::fclose(in);
    Kelno::KObjMesh mesh;
    Kelno::ParseObjBuffer(bytes.data(), bytes.size(), mesh);
    for (auto _ : state) {
        Kelno::ParseObjBuffer(bytes.data(), bytes.size(), mesh);
        benchmark::DoNotOptimize(mesh.points.data());
    }
    setThroughput(state, static_cast<long long>(bytes.size()));
}

// A first read: the arrays grow from nothing.
void benchKelnoFresh(benchmark::State& state, const std::string& path) {
    const long long bytes = fileSize(path);
    for (auto _ : state) {
        Kelno::KObjMesh mesh;
        if (!Kelno::ReadObjFile(path, mesh))
            state.SkipWithError("cannot open the file");
        benchmark::DoNotOptimize(mesh.points.data());
    }
    setThroughput(state, bytes);
}

#if defined(KELNO_BENCH_HAVE_TINYOBJ)
void benchTinyObj(benchmark::State& state, const std::string& path) {
    const long long bytes = fileSize(path);
    for (auto _ : state) {
        tinyobj::attrib_t attrib;
        std::vector<tinyobj::shape_t> shapes;
        std::vector<tinyobj::material_t> materials;
        std::string warn, err;
        if (!tinyobj::LoadObj(&attrib, &shapes, &materials, &warn, &err, path.c_str(), nullptr,
                              /*triangulate=*/false))
            state.SkipWithError(("tinyobjloader failed: " + err).c_str());
        benchmark::DoNotOptimize(attrib.vertices.data());
    }
    setThroughput(state, bytes);
}
#endif

void registerFile(const std::string& label, const std::string& path) {
    using Fn = void (*)(benchmark::State&, const std::string&);
    const std::pair<const char*, Fn> runs[] = {
        {"PlainRead", benchPlainRead},
        {"ReadInBlocksOnly", benchReadInBlocks},
        {"KelnoReadObjFile", benchKelnoReuse},
        {"KelnoReadObjFileFreshMesh", benchKelnoFresh},
        {"KelnoParseOnly", benchKelnoParseOnly},
#if defined(KELNO_BENCH_HAVE_TINYOBJ)
        {"TinyObjLoader", benchTinyObj},
#endif
    };
    for (const auto& run : runs) {
        Fn fn = run.second;
        benchmark::RegisterBenchmark((std::string(run.first) + "/" + label).c_str(),
                                     [fn, path](benchmark::State& state) { fn(state, path); })
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);

    const std::string real = std::string(KELNO_TEST_DATA_DIR) + "/meshes/lucy_100k.obj";
    if (fileSize(real) > 0)
        registerFile("lucy_100k", real);
    else
        std::cerr << "skipping the real mesh: " << real << " not found\n";

    long long megabytes = 300;
    if (const char* env = std::getenv("KELNO_BENCH_OBJ_MB"))
        megabytes = std::max(1LL, std::atoll(env));
    const std::string generated =
        std::string(KELNO_BENCH_WORK_DIR) + "/generated_" + std::to_string(megabytes) + "mb.obj";
    if (fileSize(generated) <= 0) {
        std::cerr << "writing " << generated << " (once)...\n";
        writeGeneratedFile(generated, megabytes * 1000000LL);
    }
    registerFile("generated_" + std::to_string(megabytes) + "mb", generated);

#if !defined(KELNO_BENCH_HAVE_TINYOBJ)
    std::cerr << "tinyobjloader not found at configure time: comparison skipped\n";
#endif
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
