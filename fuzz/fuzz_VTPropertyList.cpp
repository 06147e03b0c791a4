#include "VTPropertyList.h"

#include <cstddef>
#include <cstdint>

// Any bytes, XML or binary: parsing must end without a crash, and whatever
// parsed must serialise again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QVariant value = VTPropertyList::fromData(bytes);
    if (value.isValid()) {
        const QByteArray binary = VTPropertyList::toData(value, VTPropertyList::Format::Binary);
        (void)VTPropertyList::fromData(binary);
        (void)VTPropertyList::toData(value, VTPropertyList::Format::Xml);
    }
    return 0;
}
