#include "VTGroupItem.h"
#include "VTItemArchiver.h"
#include "VTPluginItem.h"

#include <cstddef>
#include <cstdint>

namespace {

// Every walk the tree and the statistics make over decoded records.
void exercise(const QList<ItemPtr> &items)
{
    for (const ItemPtr &item : items) {
        if (const GroupPtr group = item->asGroup()) {
            (void)group->allChildren();
            (void)group->totalChildCount();
            (void)group->totalEnabledChildCount();
            (void)group->groupEnabled();
            (void)group->groupAccess();
            (void)group->basePath();
            (void)group->groupWithFilteredChildren(QStringLiteral("a"));
            (void)group->absoluteParent();
            group->sortChildrenByVersion(true);
        } else {
            (void)item->asPlugin()->is64BitAvailable();
        }
    }
}

} // namespace

// Pasteboard data is read back from whatever a drag carried: decoding must
// reject damage and the records it accepts must be safe to walk and to
// archive again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto decoded = VTItemArchiver::unarchive(bytes);
    if (!decoded)
        return 0;
    exercise(decoded->items);
    const auto again = VTItemArchiver::unarchive(VTItemArchiver::archive(decoded->items));
    if (!again || again->items.size() != decoded->items.size())
        __builtin_trap();
    return 0;
}
