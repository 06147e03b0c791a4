#pragma once

#include <QList>

#include "VTCatalogueItem.h"

class OutlineViewController;

// Selects every plug-in that lacks an architecture: 32-bit only, 64-bit
// only, PowerPC only or Intel only. Plug-ins whose architectures are not
// known (not read yet, or no bundle) never qualify. Runs on the main thread.
class VTArchitectureSelection
{
public:
    enum class Only { Bits32, Bits64, PowerPC, Intel };

    explicit VTArchitectureSelection(OutlineViewController &catalogue);

    [[nodiscard]] static bool qualifies(const VTPluginItem &plugin, Only only);
    // The qualifying plug-ins of the catalogue, in tree order.
    [[nodiscard]] QList<PluginPtr> matchingPlugins(Only only) const;

    // Clears the selection, expands the topmost group of each qualifying
    // plug-in with everything below it, and selects them all at once.
    void selectOnly(Only only);
    void select32BitOnlyPlugins() { selectOnly(Only::Bits32); }
    void select64BitOnlyPlugins() { selectOnly(Only::Bits64); }
    void selectPPCOnlyPlugins() { selectOnly(Only::PowerPC); }
    void selectIntelOnlyPlugins() { selectOnly(Only::Intel); }

private:
    OutlineViewController &m_catalogue;
};
