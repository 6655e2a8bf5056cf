// Stand-in for Maya's MFn: the type tags of API objects and function sets. Only the tags the
// plug-in and the stand-in use are listed; the host's numbering is not reproduced, so code
// must compare tags by name, never by number.
#pragma once

class MFn {
  public:
    enum Type {
        kInvalid = 0,
        kBase,
        kNamedObject,
        kDependencyNode,
        kDagNode,
        kTransform,
        kShape,
        kMesh,
        kNurbsCurve,
        kLocator,
        kTime,
        kPluginDependNode,
        kPluginLocatorNode,
        kPluginTransformNode,
        kAttribute,
        kNumericAttribute,
        kTypedAttribute,
        kEnumAttribute,
        kMatrixAttribute,
        kUnitAttribute,
        kCompoundAttribute,
        kData,
        kNumericData,
        kMeshData,
        kStringData,
        kIntArrayData,
        kDoubleArrayData,
        kPointArrayData,
        kMatrixData,
        kNurbsCurveData,
        kComponentListData,
        kPlugin,
        kMeshVertComponent,
        kMeshEdgeComponent,
        kMeshPolygonComponent,
        kLast
    };
};
