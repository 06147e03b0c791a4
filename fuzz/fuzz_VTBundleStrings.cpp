#include "VTBundle.h"

#include <cstddef>
#include <cstdint>

// Strings files in any encoding, and the property-list form they may take.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    (void)VTBundle::parseStrings(bytes);
    return 0;
}
