// Stand-in for Maya's MPxLocatorNode: the base of user-defined locators, DAG shapes that draw
// themselves but render nothing. The legacy viewport calls draw(view, path, style, status) with
// the view's matrices loaded (the locator's space); Viewport 2.0 never calls it, and draws the
// locator through the draw override registered for its draw classification instead.
#pragma once

#include <maya/M3dView.h>
#include <maya/MBoundingBox.h>
#include <maya/MDagPath.h>
#include <maya/MPxNode.h>

class OPENMAYA_EXPORT MPxLocatorNode : public MPxNode {
  public:
    MPxLocatorNode();
    ~MPxLocatorNode() override;

    MPxNode::Type type() const override;
    // Default: draws nothing.
    virtual void draw(M3dView& view, const MDagPath& path, M3dView::DisplayStyle style,
                      M3dView::DisplayStatus status);
    // Default: false.
    virtual bool isBounded() const;
    // Default: an empty box.
    virtual MBoundingBox boundingBox() const;
    virtual bool isTransparent() const;
    virtual bool drawLast() const;
    virtual bool excludeAsLocator() const;
};
