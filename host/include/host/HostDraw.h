// Test-facing drawing controls of the host stand-in: render one frame of the scene, through a
// chosen camera, into an offscreen buffer the test reads, as Viewport 2.0 or the legacy viewport
// would draw it. Plug-in code never includes this.
//
// A frame needs a current OpenGL context with the fixed-function pipeline (the tests' EGL
// context); the frame buffer the frame is drawn into is the host's own and is deleted after the
// pixels are read, and the context's state is given back as it was found. What a frame does:
//   Viewport 2.0: for every DAG shape whose node type's draw classification has a registered
//     draw override, in scene order: the override is made on first use (one per node, kept
//     until the node is deleted), then isBounded, boundingBox, prepareForDraw (given back the
//     data of the previous frame when it was kept) and the draw callback with a draw context
//     whose world matrix is the shape's inclusive matrix. Every override is called whatever
//     supportedDrawAPIs answers (recorded in the frame), so a callback's own check of the draw
//     API is what decides.
//   legacy: for every locator shape, the view and projection matrices are loaded (the model-view
//     matrix including the shape's inclusive matrix) and MPxLocatorNode::draw is called with the
//     active view, the shape's path, the style asked for and kDormant.
// The application state (Host::setMayaState, e.g. batch) is left to the nodes to look at.
//
// Around every draw call the host compares the GL state before and after: the depths of the
// model-view, projection, texture and attribute stacks, the top model-view and projection
// matrices, the current colour, the enables of blending, face culling, 2D texturing, polygon
// offset fill, depth test and lighting, and the bound 2D texture. Differences are listed in the
// frame. The matrix mode is not compared: the host selects it again before each draw.
//
// Cameras: the host node type "camera" is a shape that looks down its local -Z axis with +Y up.
// Its attributes: "focalLength" (mm, 35), "horizontalFilmAperture" and "verticalFilmAperture"
// (inches, 1.41732 x 0.94488), "nearClipPlane" (0.1), "farClipPlane" (10000), "orthographic"
// (false), "orthographicWidth" (30) and "centerOfInterest" (5, the distance to the point it looks
// at). The film is fitted horizontally to the frame's width.
#pragma once

#include <maya/M3dView.h>
#include <maya/MBoundingBox.h>
#include <maya/MDagPath.h>
#include <maya/MFrameContext.h>
#include <maya/MObject.h>
#include <maya/MPoint.h>
#include <maya/MViewport2Renderer.h>

#include <string>
#include <vector>

namespace Host {

enum class Viewport { Viewport2, Legacy };

struct FrameRequest {
    std::string camera; // camera shape, or its transform
    int width = 64;
    int height = 64;
    Viewport viewport = Viewport::Viewport2;
    // Viewport 2.0: MHWRender::MFrameContext::DisplayStyle bits, as getDisplayStyle answers.
    unsigned int displayStyle = MHWRender::MFrameContext::kGouraudShaded;
    // Legacy viewport: the view's display style and wireframe-on-shaded.
    M3dView::DisplayStyle legacyStyle = M3dView::kGouraudShaded;
    bool wireframeOnShaded = false;
    // What MRenderer::drawAPI answers during the frame.
    MHWRender::DrawAPI drawAPI = MHWRender::kOpenGL;
    // Whether draw contexts carry a state manager.
    bool stateManager = true;
    float clearColor[4] = {0.0f, 0.0f, 0.0f, 0.0f};
};

struct DrawnObject {
    std::string path;                   // full path name of the shape
    unsigned int supportedDrawAPIs = 0; // Viewport 2.0 only
    bool bounded = false;
    MBoundingBox boundingBox;
    bool prepared = false;                 // prepareForDraw returned data (Viewport 2.0)
    std::vector<std::string> stateChanges; // GL state the draw call left changed
};

struct Frame {
    bool rendered = false;
    std::string error; // why nothing was rendered
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgba; // RGBA bytes, rows from the bottom of the frame up
    std::vector<DrawnObject> objects;

    // The pixel at column x, row y counted from the bottom (nullptr outside the frame).
    const unsigned char* pixel(int x, int y) const;
};

Frame renderFrame(const FrameRequest& request);

// The drawing overrides a node's paths answer from MDagPath::getDrawOverrideInfo.
void setDrawOverrideInfo(const MObject& node, const MDAGDrawOverrideInfo& info);

// A camera transform at eye turned to look at target (no roll), with its "camera" shape named
// name + "Shape" and its centre of interest the distance between the two. Returns the shape.
MObject createCamera(const std::string& name, const MPoint& eye, const MPoint& target);

} // namespace Host
