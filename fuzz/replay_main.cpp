// Replays fuzzer inputs without libFuzzer: every file named on the command line, and every regular
// file inside a folder named there, goes once through LLVMFuzzerTestOneInput. CTest runs it over
// the seed corpora and the shared fixtures, so each target's inputs stay crash-free in every build
// (and under the sanitizers in the sanitizer lane) without fuzzing in CI.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.string().c_str());
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // A copy of exactly the file's size, so reads past the end are caught by the sanitizers.
    std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.empty() ? nullptr : input.data(), input.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    int replayed = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg(argv[i]);
        std::error_code error;
        if (fs::is_directory(arg, error)) {
            std::vector<fs::path> files;
            for (const fs::directory_entry& entry : fs::recursive_directory_iterator(arg, error))
                if (entry.is_regular_file())
                    files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const fs::path& file : files) {
                ok = replay(file) && ok;
                ++replayed;
            }
        } else if (fs::is_regular_file(arg, error)) {
            ok = replay(arg) && ok;
            ++replayed;
        } else {
            std::fprintf(stderr, "skipped (not found): %s\n", argv[i]);
        }
    }
    std::fprintf(stderr, "replayed %d inputs\n", replayed);
    if (replayed == 0) {
        std::fprintf(stderr, "no input replayed\n");
        return 1;
    }
    return ok ? 0 : 1;
}
