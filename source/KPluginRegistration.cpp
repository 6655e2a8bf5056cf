#include "KPluginRegistration.h"

// MFnPlugin.h belongs to one file of a plug-in (pluginMain.cpp); other files opt out of what
// it defines.
#define MNoVersionString
#define MNoPluginEntry
#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>

namespace {

MStatus registerAll(MFnPlugin& plugin, const KPluginTables& tables) {
    MStatus status;
    for (const KNodeRegistration* node = tables.nodes; node && node->typeName; ++node) {
        status = plugin.registerNode(*node->typeName, *node->typeId, node->creator, node->initialize,
                                     node->kind, node->drawClassification);
        if (!status) {
            status.perror(MString("Failed to register: ") + *node->typeName);
            return status;
        }
        if (!node->drawOverrideCreator)
            continue;
        status = MHWRender::MDrawRegistry::registerDrawOverrideCreator(
            *node->drawClassification, *node->drawRegistrantId, node->drawOverrideCreator);
        if (!status) {
            status.perror(MString("Failed to register: ") + *node->drawRegistrantId);
            return status;
        }
    }
    for (const KCommandRegistration* command = tables.commands; command && command->name; ++command) {
        status = plugin.registerCommand(*command->name, command->creator, command->newSyntax);
        if (!status) {
            status.perror(MString("Failed to register: ") + *command->name);
            return status;
        }
    }
    // The scripts live on the host's script path; one that is missing does not stop the load.
    for (const char* const* script = tables.scripts; script && *script; ++script)
        MGlobal::sourceFile(*script);
    plugin.registerUI(tables.menuCreationProc, tables.menuDeletionProc, "", "");
    return MS::kSuccess;
}

MStatus deregisterAll(MFnPlugin& plugin, const KPluginTables& tables) {
    MStatus status;
    for (const KNodeRegistration* node = tables.nodes; node && node->typeName; ++node) {
        if (node->drawOverrideCreator) {
            status = MHWRender::MDrawRegistry::deregisterDrawOverrideCreator(*node->drawClassification,
                                                                             *node->drawRegistrantId);
            if (!status) {
                status.perror(MString("Failed to deregister: ") + *node->typeName);
                return status;
            }
        }
        status = plugin.deregisterNode(*node->typeId);
        if (!status) {
            status.perror(MString("Failed to deregister: ") + *node->typeName);
            return status;
        }
    }
    for (const KCommandRegistration* command = tables.commands; command && command->name; ++command) {
        status = plugin.deregisterCommand(*command->name);
        if (!status) {
            status.perror(MString("Failed to deregister: ") + *command->name);
            return status;
        }
    }
    return MS::kSuccess;
}

} // namespace

MStatus KRegisterPlugin(MFnPlugin& plugin, const KPluginTables& tables) {
    try {
        return registerAll(plugin, tables);
    } catch (...) {
        MStatus status(MS::kFailure);
        status.perror("Failed to register: unexpected exception");
        return status;
    }
}

MStatus KDeregisterPlugin(MFnPlugin& plugin, const KPluginTables& tables) {
    try {
        return deregisterAll(plugin, tables);
    } catch (...) {
        MStatus status(MS::kFailure);
        status.perror("Failed to deregister: unexpected exception");
        return status;
    }
}
