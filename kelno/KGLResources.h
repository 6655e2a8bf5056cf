// OpenGL offscreen resources, float image maps and display-list helpers.
//
// Owns:
//   KGlTex2D        one 2D texture object
//   KGlRbo          one render buffer object
//   KGlFbo          one frame buffer object joining a colour texture and a depth render buffer
//                   (it refers to them, it does not own them: destroy it first)
//   KImageMap       a CPU image of 32-bit floats, row-major, channels interleaved, written to
//                   files by save()
//   KImageFormat    the file formats save() accepts (OpenEXR is 10)
//   KResetDisplayList / KCallDisplayList   display-list handles as plain ints, -1 for none
//
// Every GL call needs a current context with the GL 3.0 frame buffer entry points loaded
// (glewInit); construction and destruction of an empty wrapper make no GL call. Nothing here
// throws: a frame buffer that cannot be completed is reported by checkStatus() only, and a
// failed save() returns false.
//
// Image rows: a KImageMap's first row is what glReadPixels puts first, the bottom row of the
// frame buffer (OpenGL's window row 0). save() writes the image upright, so the block's first
// row becomes the bottom scanline of the file and the last row the top one; a map rendered in
// UV space shows v = 0 at the bottom, as in the host's UV editor.
//
// OpenEXR output: 32-bit float channels R, G, B, A (or Y, YA, RGB for 1 to 3 channels), ZIP
// compression (zlib, blocks of 16 scanlines). Chosen by measuring a typical collision map,
// 2048 x 2048 RGBA float (UV islands over half the square, grey 0 except smooth fall-offs
// around contacts, every value a multiple of 1/255 since the maps are read back from an 8-bit
// colour texture), with each lossless codec (PXR24, B44 and DWA would alter 32-bit floats):
//   compression   file size   write time
//   NONE          64.0 MB     ~120 ms
//   RLE            6.9 MB     ~200 ms
//   ZIPS           0.49 MB    ~260 ms
//   ZIP            0.29 MB    ~300 ms
//   PIZ            0.75 MB    ~190 ms
// (bench/bench_exr.cpp, BM_CollisionMapCompression, one core of a shared 2-core machine.) ZIP
// gives the smallest files, 220 times smaller than NONE and 2.6 times smaller than PIZ, for about
// a tenth of a second more per frame than PIZ; a bake spends far longer per frame moving the
// scene and measuring distances, while a sequence of hundreds of frames stays small on disk,
// and ZIP files decode quickly in every reader.
#pragma once

#include "KelnoExport.h"

#include <vector>

namespace Kelno {

// Owns one 2D texture object.
class KELNO_API KGlTex2D {
  public:
    KGlTex2D() {}
    ~KGlTex2D();
    KGlTex2D(const KGlTex2D&) = delete;
    KGlTex2D& operator=(const KGlTex2D&) = delete;

    // (Re)creates the texture storage as glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, width,
    // height, 0, format, type, data); data may be null. filter and wrap are GL enums; 0 selects
    // the defaults for a render target, GL_NEAREST and GL_CLAMP_TO_EDGE (no mipmaps either way).
    // Leaves texture 0 bound.
    void create(int width, int height, unsigned internalFormat, unsigned format, unsigned type,
                unsigned filter = 0, unsigned wrap = 0, const void* data = nullptr);
    // Binds the texture to GL_TEXTURE_2D (texture 0 while none was created).
    void bind() const;
    // Binds texture 0 to GL_TEXTURE_2D.
    static void unbind();

    unsigned id() const { return m_id; }
    int width() const { return m_width; }
    int height() const { return m_height; }

  private:
    unsigned m_id = 0;
    int m_width = 0;
    int m_height = 0;
};

// Owns one render buffer object.
class KELNO_API KGlRbo {
  public:
    KGlRbo() {}
    ~KGlRbo();
    KGlRbo(const KGlRbo&) = delete;
    KGlRbo& operator=(const KGlRbo&) = delete;

    // (Re)allocates the storage (e.g. GL_DEPTH_COMPONENT). Leaves render buffer 0 bound.
    void create(int width, int height, unsigned internalFormat);
    void bind() const;
    static void unbind();

    unsigned id() const { return m_id; }

  private:
    unsigned m_id = 0;
};

// Owns one frame buffer object; refers to the texture and the render buffer given to create,
// which must outlive it.
class KELNO_API KGlFbo {
  public:
    KGlFbo() {}
    ~KGlFbo();
    KGlFbo(const KGlFbo&) = delete;
    KGlFbo& operator=(const KGlFbo&) = delete;

    // (Re)creates the frame buffer with color as GL_COLOR_ATTACHMENT0 and depth as the depth
    // attachment. Restores the frame buffer bound before the call.
    void create(const KGlTex2D& color, const KGlRbo& depth);
    // True when the frame buffer is complete (false before create).
    bool checkStatus() const;
    // Makes it the draw and read frame buffer.
    void bind() const;
    // Returns to the default frame buffer (0).
    static void unbind();

    unsigned id() const { return m_id; }

  private:
    unsigned m_id = 0;
};

struct KImageFormat {
    enum ImageFormat {
        kUnknown = 0,
        kOpenEXR = 10, // ".exr", float channels
    };
};

// A CPU image of 32-bit floats: width x height pixels, `channels` floats per pixel, rows one
// after another from the bottom row up (see the file comment), no padding.
class KELNO_API KImageMap {
  public:
    KImageMap() {}

    // (Re)allocates the block to width x height x channels floats, all 0. Sizes below 1 (or
    // channels above 4) leave the map empty.
    void set(int width, int height, int channels);
    // The first float of the block (null when empty), for glReadPixels to fill in place.
    float* data() { return m_pixels.empty() ? nullptr : m_pixels.data(); }
    const float* data() const { return m_pixels.empty() ? nullptr : m_pixels.data(); }
    int width() const { return m_width; }
    int height() const { return m_height; }
    int channels() const { return m_channels; }

    // Writes the map to path in the given format. False when the map is empty, the format is
    // not supported or the file cannot be written (a partly written file is removed).
    bool save(const char* path, KImageFormat::ImageFormat format) const;

  private:
    std::vector<float> m_pixels;
    int m_width = 0;
    int m_height = 0;
    int m_channels = 0;
};

// Deletes the display list id (when not negative) and sets id to -1.
KELNO_API void KResetDisplayList(int& id);
// Calls the display list id when it is not negative; otherwise does nothing.
KELNO_API void KCallDisplayList(const int& id);

} // namespace Kelno
