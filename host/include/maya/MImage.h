// Stand-in for Maya's MImage: an image in memory, read from a file or made empty.
//
// readFromFile reads PNG, JPEG, TIFF, OpenEXR and the other formats OpenImageIO knows. Byte
// images keep the file's colour channels: one or three channels give depth 3 (grey spread to
// R, G, B), two or four give depth 4 (RGBA). Float images always have four channels. Rows are
// stored from the bottom of the picture up (the first row is its lowest), as glTexImage2D
// expects them. Colour values are the file's own, never premultiplied by its alpha.
#pragma once

#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MTypes.h>

#include <vector>

class OPENMAYA_EXPORT MImage {
  public:
    enum MPixelType { kUnknown, kByte, kFloat };

    MImage();
    virtual ~MImage();

    MStatus create(unsigned int width, unsigned int height, unsigned int channels = 4,
                   MPixelType type = kByte);
    // kFailure, and an empty image, when the file cannot be read.
    MStatus readFromFile(MString pathname, MPixelType type = kByte);
    MStatus getSize(unsigned int& width, unsigned int& height) const;
    MPixelType pixelType() const;
    // Null unless the image holds bytes (resp. floats).
    unsigned char* pixels() const;
    float* floatPixels() const;
    // Bytes per pixel (3 or 4 for byte images, 16 for float ones); 0 when empty.
    unsigned int depth(MStatus* ReturnStatus = NULL) const;
    void release();

  private:
    MImage(const MImage&);
    MImage& operator=(const MImage&);

    unsigned int fWidth, fHeight, fDepth;
    MPixelType fType;
    mutable std::vector<unsigned char> fBytes;
    mutable std::vector<float> fFloats;
};
