#include "VTArchitectureSelection.h"

#include "OutlineViewController.h"
#include "VTCatalogueView.h"
#include "VTGroupItem.h"
#include "VTPluginItem.h"

VTArchitectureSelection::VTArchitectureSelection(OutlineViewController &catalogue) : m_catalogue(catalogue) {}

bool VTArchitectureSelection::qualifies(const VTPluginItem &plugin, Only only)
{
    const auto architectures = plugin.architectures();
    if (!architectures || architectures->isEmpty())
        return false;
    switch (only) {
    case Only::Bits32: return !plugin.is64BitAvailable();
    case Only::Bits64: return !plugin.is32BitAvailable();
    case Only::PowerPC: return !plugin.isIntelAvailable();
    case Only::Intel: return !plugin.isPPCAvailable();
    }
    return false;
}

QList<PluginPtr> VTArchitectureSelection::matchingPlugins(Only only) const
{
    QList<PluginPtr> matching;
    for (const PluginPtr &plugin : m_catalogue.allPlugins()) {
        if (qualifies(*plugin, only))
            matching.append(plugin);
    }
    return matching;
}

void VTArchitectureSelection::selectOnly(Only only)
{
    VTCatalogueView *view = m_catalogue.view();
    if (!view)
        return;
    view->selectItems({});
    QList<ItemPtr> rows;
    for (const PluginPtr &plugin : matchingPlugins(only)) {
        // A row exists only once every group above it is expanded.
        if (const GroupPtr top = plugin->absoluteParent())
            view->expandItem(top, true);
        rows.append(plugin);
    }
    view->selectItems(rows);
}
