// Stand-in for Maya's MFnAttribute: the flags every attribute has. An attribute starts
// readable, writable, connectable, storable and cached; not keyable, hidden, array, shown in
// the channel box or used as a colour. Every flag set here is kept on the attribute and can
// be read back.
#pragma once

#include <maya/MFnBase.h>
#include <maya/MString.h>

class OPENMAYA_EXPORT MFnAttribute : public MFnBase {
  public:
    enum DisconnectBehavior { kDelete, kReset, kNothing };

    MFnAttribute();
    MFnAttribute(MObject& object, MStatus* ReturnStatus = NULL);
    MFnAttribute(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnAttribute() override;
    MFn::Type type() const override;

    bool isReadable(MStatus* ReturnStatus = NULL) const;
    bool isWritable(MStatus* ReturnStatus = NULL) const;
    bool isConnectable(MStatus* ReturnStatus = NULL) const;
    bool isStorable(MStatus* ReturnStatus = NULL) const;
    bool isCached(MStatus* ReturnStatus = NULL) const;
    bool isArray(MStatus* ReturnStatus = NULL) const;
    bool indexMatters(MStatus* ReturnStatus = NULL) const;
    bool isKeyable(MStatus* ReturnStatus = NULL) const;
    bool isChannelBoxFlagSet(MStatus* ReturnStatus = NULL) const;
    bool isHidden(MStatus* ReturnStatus = NULL) const;
    bool isUsedAsColor(MStatus* ReturnStatus = NULL) const;
    bool isIndeterminant(MStatus* ReturnStatus = NULL) const;
    bool isRenderSource(MStatus* ReturnStatus = NULL) const;
    bool isDynamic(MStatus* ReturnStatus = NULL) const;
    bool isAffectsAppearance(MStatus* ReturnStatus = NULL) const;
    bool isAffectsWorldSpace(MStatus* ReturnStatus = NULL) const;
    bool usesArrayDataBuilder(MStatus* ReturnStatus = NULL) const;
    DisconnectBehavior disconnectBehavior(MStatus* ReturnStatus = NULL) const;

    MStatus setReadable(bool state);
    MStatus setWritable(bool state);
    MStatus setConnectable(bool state);
    MStatus setStorable(bool state);
    MStatus setCached(bool state);
    MStatus setArray(bool state);
    MStatus setIndexMatters(bool state);
    MStatus setKeyable(bool state);
    MStatus setChannelBox(bool state);
    MStatus setHidden(bool state);
    MStatus setUsedAsColor(bool state);
    MStatus setIndeterminant(bool state);
    MStatus setRenderSource(bool state);
    MStatus setAffectsAppearance(bool state);
    MStatus setAffectsWorldSpace(bool state);
    MStatus setUsesArrayDataBuilder(bool state);
    MStatus setDisconnectBehavior(DisconnectBehavior behavior);
    MStatus setNiceNameOverride(const MString& localizedName);

    MString name(MStatus* ReturnStatus = NULL) const;
    MString shortName(MStatus* ReturnStatus = NULL) const;
    MObject parent(MStatus* ReturnStatus = NULL) const;
};
