// KEnvSphere: a locator that wraps an image file around a unit sphere in the viewport.
//
// Evaluating "output" (hidden; "file" and "opacity" affect it) reads "file" and (re)loads the
// image into an OpenGL texture, with the alpha of every pixel set from the opacity that the
// last draw read. The sphere, radius 1 with its poles on the Y axis, is drawn textured and
// half transparent: inside faces first, then outside faces, with blending and a polygon offset.
// Once a file node feeds "file", the first draw after that asks the host to refresh the file
// node's swatch. In batch mode nothing is loaded or drawn. The node computes no geometry.
//
// Both viewports reach draw(int): the legacy one through draw(M3dView&, ...), Viewport 2.0
// through Kelno::KDrawOverride<KEnvSphere> (KDrawOverride.h). The style argument is not used.
//
// Texture loading (initTexture) reports GL errors by code, after each GL step, with the
// messages "GL_INVALIDE_ENUM", "GL_INVALIDE_VALUE" and "GL_INVALIDE_OPERATION" (spelt so), and
// carries on. An image that cannot be read, or whose depth is not 3 or 4 bytes per pixel,
// leaves the node without a texture (the old one is deleted first). The pixel bytes are always
// taken as four per pixel: an RGB image gets every fourth of its bytes overwritten by the alpha
// and is uploaded as RGBA, its bytes running on into the next pixel; the part of the texture
// the RGB bytes do not cover is zero (transparent black).
#pragma once

#include <kelno/KGL.h>

#include <maya/M3dView.h>
#include <maya/MBoundingBox.h>
#include <maya/MDagPath.h>
#include <maya/MDataBlock.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MObject.h>
#include <maya/MPlug.h>
#include <maya/MPxLocatorNode.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

class KEnvSphere : public MPxLocatorNode {
  public:
    KEnvSphere();
    ~KEnvSphere() override;

    static void* creator();
    static MStatus initialize();
    // Keeps the node's own object, binds the function sets to it and renames the node
    // "KEnvSphereShape#".
    void postConstructor() override;
    // Computes output (reloading the texture); kUnknownParameter for any other plug.
    MStatus compute(const MPlug& plug, MDataBlock& data) override;

    // Legacy viewport: draw(0) between the view's beginGL and endGL (nothing in batch mode).
    void draw(M3dView& view, const MDagPath& path, M3dView::DisplayStyle style,
              M3dView::DisplayStatus status) override;
    // The sphere in the node's space, in the current GL context; then the swatch refresh.
    void draw(int style);
    bool isBounded() const override;
    // (-1, -1, -1) to (1, 1, 1).
    MBoundingBox boundingBox() const override;

    // (Re)loads the image at path into texture (see the file comment). Nothing in batch mode.
    void initTexture(const char* path, unsigned int& texture);
    // Copies lineColor, opacity, slices and stacks into the members.
    void getInfo();

    // The GL texture name (0 before the first load).
    unsigned int textureName() const { return m_texture; }

    // Registration statics: "KEnvSphere", 0x90004, "drawdb/geometry/KEnvSphere",
    // "KEnvSphereNodePlugin".
    static MString nodeTypeName;
    static MTypeId nodeTypeId;
    static MString drawDbClassification;
    static MString drawRegistrantId;

    // Attributes.
    static MObject file;      // "file"/"fle": image file name, default ""
    static MObject lineColor; // "lineColor"/"lcr": colour, default 0.5, 0.5, 0 (read, not drawn)
    static MObject opacity;   // "opacity"/"opc": float 0..1, default 1
    static MObject slices;    // "slices"/"sls": int 10..200, default 20
    static MObject stacks;    // "stacks"/"sts": int 10..200, default 20
    static MObject color;     // "color"/"clr": colour, hidden, unused
    static MObject output;    // "output"/"out": bool, hidden; evaluating it loads the texture

  private:
    // Shows the GL error pending after a step, if it is one of the three reported.
    static void _checkGLError();

    unsigned int m_texture;
    GLUquadric* m_quadric;     // GLU_FILL, smooth normals, texture coordinates
    GLUquadric* m_lineQuadric; // GLU_LINE; not drawn
    bool m_swatchPending;
    MString m_fileName;
    float m_lineColor[3];
    float m_opacity;
    int m_slices;
    int m_stacks;

    MObject m_node;
    MString m_name; // unused; part of the common node frame
    MFnDependencyNode m_dgFn;
    MFnDagNode m_dagFn;
};
