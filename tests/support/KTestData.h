// Locating the shared test data (real meshes, caches, sequences) from tests.
//
// The folder comes from the KELNO_TEST_DATA_DIR CMake cache variable. A test that needs a
// file calls KELNO_REQUIRE_DATA(path), which skips the test with a message naming the missing
// path instead of failing somewhere deeper with a confusing error.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace KelnoTest {

// Absolute path of a file below the shared data folder, e.g. dataPath("meshes/bunny.obj").
inline std::string dataPath(const std::string& relative) {
    return std::string(KELNO_TEST_DATA_DIR) + "/" + relative;
}

inline bool dataExists(const std::string& relative) {
    std::ifstream f(dataPath(relative), std::ios::binary);
    return f.good();
}

// The bytes of a file (empty when it cannot be read), and a file made of the given bytes.
inline std::string readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
inline std::vector<unsigned char> readByteVector(const std::string& path) {
    const std::string bytes = readBytes(path);
    return std::vector<unsigned char>(bytes.begin(), bytes.end());
}
inline void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace KelnoTest

#define KELNO_REQUIRE_DATA(relative)                                                                         \
    do {                                                                                                     \
        if (!KelnoTest::dataExists(relative))                                                                \
            GTEST_SKIP() << "shared test data missing: " << KelnoTest::dataPath(relative)                    \
                         << " (set -DKELNO_TEST_DATA_DIR=<path to shared/data>)";                            \
    } while (0)
