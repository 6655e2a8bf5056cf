#include "KGLResources.h"

#include "KGL.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>

#include <cstdio>
#include <exception>

namespace Kelno {

// ---- KGlTex2D -------------------------------------------------------------------------------

KGlTex2D::~KGlTex2D() {
    if (m_id)
        glDeleteTextures(1, &m_id);
}

void KGlTex2D::create(int width, int height, unsigned internalFormat, unsigned format, unsigned type,
                      unsigned filter, unsigned wrap, const void* data) {
    if (!m_id)
        glGenTextures(1, &m_id);
    const GLint f = filter ? static_cast<GLint>(filter) : GL_NEAREST;
    const GLint w = wrap ? static_cast<GLint>(wrap) : GL_CLAMP_TO_EDGE;
    glBindTexture(GL_TEXTURE_2D, m_id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, f);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, f);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, w);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, w);
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(internalFormat), width, height, 0, format, type, data);
    glBindTexture(GL_TEXTURE_2D, 0);
    m_width = width;
    m_height = height;
}

void KGlTex2D::bind() const { glBindTexture(GL_TEXTURE_2D, m_id); }
void KGlTex2D::unbind() { glBindTexture(GL_TEXTURE_2D, 0); }

// ---- KGlRbo ---------------------------------------------------------------------------------

KGlRbo::~KGlRbo() {
    if (m_id && glDeleteRenderbuffers)
        glDeleteRenderbuffers(1, &m_id);
}

void KGlRbo::create(int width, int height, unsigned internalFormat) {
    if (!m_id)
        glGenRenderbuffers(1, &m_id);
    glBindRenderbuffer(GL_RENDERBUFFER, m_id);
    glRenderbufferStorage(GL_RENDERBUFFER, internalFormat, width, height);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
}

void KGlRbo::bind() const { glBindRenderbuffer(GL_RENDERBUFFER, m_id); }
void KGlRbo::unbind() { glBindRenderbuffer(GL_RENDERBUFFER, 0); }

// ---- KGlFbo ---------------------------------------------------------------------------------

KGlFbo::~KGlFbo() {
    if (m_id && glDeleteFramebuffers)
        glDeleteFramebuffers(1, &m_id);
}

void KGlFbo::create(const KGlTex2D& color, const KGlRbo& depth) {
    GLint previous = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
    if (!m_id)
        glGenFramebuffers(1, &m_id);
    glBindFramebuffer(GL_FRAMEBUFFER, m_id);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, color.id(), 0);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth.id());
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
}

bool KGlFbo::checkStatus() const {
    if (!m_id)
        return false;
    GLint previous = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
    glBindFramebuffer(GL_FRAMEBUFFER, m_id);
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
    return status == GL_FRAMEBUFFER_COMPLETE;
}

void KGlFbo::bind() const { glBindFramebuffer(GL_FRAMEBUFFER, m_id); }
void KGlFbo::unbind() { glBindFramebuffer(GL_FRAMEBUFFER, 0); }

// ---- KImageMap ------------------------------------------------------------------------------

void KImageMap::set(int width, int height, int channels) {
    if (width < 1 || height < 1 || channels < 1 || channels > 4) {
        m_pixels.clear();
        m_width = m_height = m_channels = 0;
        return;
    }
    m_pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(channels),
                    0.0f);
    m_width = width;
    m_height = height;
    m_channels = channels;
}

namespace {

bool saveExr(const char* path, const float* pixels, int width, int height, int channels) {
    static const char* const kNames[4][4] = {
        {"Y", "", "", ""}, {"Y", "A", "", ""}, {"R", "G", "B", ""}, {"R", "G", "B", "A"}};
    bool created = false;
    try {
        Imf::Header header(width, height);
        header.compression() = Imf::ZIP_COMPRESSION;
        Imf::FrameBuffer frame;
        const size_t xStride = sizeof(float) * static_cast<size_t>(channels);
        const size_t yStride = xStride * static_cast<size_t>(width);
        // Scanline y of the file is row (height - 1 - y) of the block: the slices start at the
        // block's last row and step backwards, so the image is written upright without a copy.
        const char* lastRow =
            reinterpret_cast<const char*>(pixels) + yStride * static_cast<size_t>(height - 1);
        for (int c = 0; c < channels; ++c) {
            const char* name = kNames[channels - 1][c];
            header.channels().insert(name, Imf::Channel(Imf::FLOAT));
            frame.insert(name, Imf::Slice(Imf::FLOAT, const_cast<char*>(lastRow) + sizeof(float) * c, xStride,
                                          -static_cast<ptrdiff_t>(yStride)));
        }
        Imf::OutputFile file(path, header);
        created = true;
        file.setFrameBuffer(frame);
        file.writePixels(height);
        return true;
    } catch (const std::exception&) {
    }
    // Only a file this call began to write is removed; one it could not open stays as it was.
    if (created)
        std::remove(path);
    return false;
}

} // namespace

bool KImageMap::save(const char* path, KImageFormat::ImageFormat format) const {
    if (!path || m_pixels.empty())
        return false;
    switch (format) {
    case KImageFormat::kOpenEXR:
        return saveExr(path, m_pixels.data(), m_width, m_height, m_channels);
    default:
        return false;
    }
}

// ---- display lists --------------------------------------------------------------------------

void KResetDisplayList(int& id) {
    if (id >= 0)
        glDeleteLists(static_cast<GLuint>(id), 1);
    id = -1;
}

void KCallDisplayList(const int& id) {
    if (id >= 0)
        glCallList(static_cast<GLuint>(id));
}

} // namespace Kelno
