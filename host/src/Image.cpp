// MImage of the host stand-in: image files read through OpenImageIO.
#include "HostInternal.h"

#include <maya/MImage.h>

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstring>
#include <exception>

using mhost::setStatus;

MImage::MImage() : fWidth(0), fHeight(0), fDepth(0), fType(kUnknown) {}
MImage::~MImage() {}

void MImage::release() {
    fWidth = fHeight = fDepth = 0;
    fType = kUnknown;
    fBytes.clear();
    fFloats.clear();
}

MStatus MImage::create(unsigned int width, unsigned int height, unsigned int channels, MPixelType type) {
    release();
    if (width == 0 || height == 0 || channels == 0 || channels > 4 || type == kUnknown)
        return MS::kInvalidParameter;
    fWidth = width;
    fHeight = height;
    fDepth = channels;
    fType = type;
    const size_t n = static_cast<size_t>(width) * height * channels;
    if (type == kByte)
        fBytes.assign(n, 0);
    else
        fFloats.assign(n, 0.0f);
    return MS::kSuccess;
}

MStatus MImage::readFromFile(MString pathname, MPixelType type) {
    release();
    if (type == kUnknown)
        return MS::kInvalidParameter;
    try {
        // The values as stored in the file: no premultiplication by alpha on the way in.
        OIIO::ImageSpec config;
        config.attribute("oiio:UnassociatedAlpha", 1);
        auto in = OIIO::ImageInput::open(pathname.asChar(), &config);
        if (!in) {
            OIIO::geterror(); // clear the library's pending message
            return MS::kFailure;
        }
        const OIIO::ImageSpec& format = in->spec();
        const int channels = format.nchannels;
        if (format.width < 1 || format.height < 1 || channels < 1) {
            in->close();
            return MS::kFailure;
        }
        const size_t w = static_cast<size_t>(format.width), h = static_cast<size_t>(format.height);
        const int read = std::min(channels, 4);
        const int depth = type == kFloat ? 4 : (read == 1 || read == 3 ? 3 : 4);
        // Read the first channels as they are, then widen: grey to RGB, and an opaque alpha for
        // float images without one.
        std::vector<float> floats;
        std::vector<unsigned char> bytes;
        bool ok;
        if (type == kFloat) {
            floats.resize(w * h * static_cast<size_t>(read));
            ok = in->read_image(0, 0, 0, read, OIIO::TypeDesc::FLOAT, floats.data());
        } else {
            bytes.resize(w * h * static_cast<size_t>(read));
            ok = in->read_image(0, 0, 0, read, OIIO::TypeDesc::UINT8, bytes.data());
        }
        in->close();
        if (!ok)
            return MS::kFailure;
        MStatus st = create(format.width, format.height, depth, type);
        if (!st)
            return st;
        for (size_t y = 0; y < h; ++y) {
            // File rows run from the top; MImage rows from the bottom.
            const size_t from = (h - 1 - y) * w, to = y * w;
            for (size_t x = 0; x < w; ++x)
                for (int c = 0; c < depth; ++c) {
                    int source = c;
                    if (read < 3 && c < 3)
                        source = 0; // grey
                    else if (read == 2 && c == 3)
                        source = 1; // grey's alpha
                    const bool missing = source >= read;
                    const size_t src = (from + x) * static_cast<size_t>(read) + static_cast<size_t>(source);
                    const size_t dst = (to + x) * static_cast<size_t>(depth) + static_cast<size_t>(c);
                    if (type == kFloat)
                        fFloats[dst] = missing ? 1.0f : floats[src];
                    else
                        fBytes[dst] = missing ? 255 : bytes[src];
                }
        }
        return MS::kSuccess;
    } catch (const std::exception&) {
        release();
        return MS::kFailure;
    }
}

MStatus MImage::getSize(unsigned int& width, unsigned int& height) const {
    width = fWidth;
    height = fHeight;
    return fType == kUnknown ? MS::kFailure : MS::kSuccess;
}
MImage::MPixelType MImage::pixelType() const { return fType; }
unsigned char* MImage::pixels() const { return fBytes.empty() ? nullptr : fBytes.data(); }
float* MImage::floatPixels() const { return fFloats.empty() ? nullptr : fFloats.data(); }
unsigned int MImage::depth(MStatus* st) const {
    setStatus(st, fType == kUnknown ? MS::kFailure : MS::kSuccess);
    return fType == kFloat ? fDepth * static_cast<unsigned int>(sizeof(float)) : fDepth;
}
