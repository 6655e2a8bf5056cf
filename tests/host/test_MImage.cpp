// MImage of the stand-in reads real image files: each format written here with OpenImageIO,
// a picture whose top row differs from the rest, read back as bytes (and floats for EXR).
#include <maya/MImage.h>

#include <OpenImageIO/imageio.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

// 4 x 3 pixels: the top row (written first) is kTop, the others kRest.
const unsigned char kTop[4] = {10, 200, 30, 128}, kRest[4] = {250, 5, 60, 255};

std::string tempPath(const std::string& name) {
    return (std::filesystem::temp_directory_path() / ("kelno_mimage_" + name)).string();
}

bool writePicture(const std::string& path, int channels, OIIO::TypeDesc type) {
    const int w = 4, h = 3;
    std::vector<float> pixels;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < channels; ++c)
                pixels.push_back((y == 0 ? kTop[c] : kRest[c]) / 255.0f);
    auto out = OIIO::ImageOutput::create(path);
    if (!out)
        return false;
    OIIO::ImageSpec format(w, h, channels, type);
    // JPEG: best quality and no chroma subsampling, so that a 4 x 3 picture keeps its rows.
    format.attribute("Compression", "jpeg:100");
    format.attribute("jpeg:subsampling", "4:4:4");
    format.attribute("oiio:UnassociatedAlpha", 1); // the values as given, not divided by alpha
    return out->open(path, format) && out->write_image(OIIO::TypeDesc::FLOAT, pixels.data()) && out->close();
}

TEST(MImage, ReadsImageFilesBottomRowFirst) {
    struct Row {
        const char* file;
        int channels;
        OIIO::TypeDesc type;
        unsigned int depth;
        int tolerance; // lossy formats
    } rows[] = {{"rgb.png", 3, OIIO::TypeDesc::UINT8, 3, 0},   {"rgba.png", 4, OIIO::TypeDesc::UINT8, 4, 0},
                {"grey.png", 1, OIIO::TypeDesc::UINT8, 3, 0},  {"rgb.jpg", 3, OIIO::TypeDesc::UINT8, 3, 8},
                {"rgba.tif", 4, OIIO::TypeDesc::UINT16, 4, 0}, {"rgba.exr", 4, OIIO::TypeDesc::HALF, 4, 1}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string path = tempPath(row.file);
        ASSERT_TRUE(writePicture(path, row.channels, row.type));
        MImage image;
        ASSERT_TRUE(image.readFromFile(path.c_str()));
        std::remove(path.c_str());
        unsigned int w = 0, h = 0;
        image.getSize(w, h);
        EXPECT_TRUE(w == 4u && h == 3u) << w << " x " << h;
        EXPECT_EQ(image.pixelType(), MImage::kByte);
        ASSERT_EQ(image.depth(), row.depth);
        const unsigned char* p = image.pixels();
        ASSERT_NE(p, nullptr);
        // The first stored row is the bottom of the picture, the last pixel is in the top row.
        // Grey files keep their first channel in R, G and B.
        for (unsigned int c = 0; c < row.depth; ++c) {
            const unsigned int from = row.channels == 1 ? 0 : c;
            EXPECT_NEAR(p[c], kRest[from], row.tolerance) << "channel " << c;
            EXPECT_NEAR(p[11 * row.depth + c], kTop[from], row.tolerance) << "channel " << c;
        }
    }
}

TEST(MImage, FloatImagesHaveFourChannelsAndMissingFilesFail) {
    const std::string path = tempPath("rgb.exr"), text = tempPath("text.png");
    ASSERT_TRUE(writePicture(path, 3, OIIO::TypeDesc::FLOAT));
    MImage image;
    ASSERT_TRUE(image.readFromFile(path.c_str(), MImage::kFloat));
    std::remove(path.c_str());
    EXPECT_EQ(image.depth(), 16u) << "bytes per pixel";
    ASSERT_NE(image.floatPixels(), nullptr);
    EXPECT_EQ(image.pixels(), nullptr);
    EXPECT_FLOAT_EQ(image.floatPixels()[0], 250 / 255.0f);
    EXPECT_FLOAT_EQ(image.floatPixels()[3], 1.0f) << "opaque alpha added";
    EXPECT_FALSE(image.readFromFile("/no/such/picture.png"));
    EXPECT_EQ(image.depth(), 0u);
    EXPECT_EQ(image.pixels(), nullptr);
    ASSERT_TRUE(std::ofstream(text) << "not a picture");
    EXPECT_FALSE(image.readFromFile(text.c_str()));
    std::remove(text.c_str());
}

} // namespace
