#include "VTMachO.h"

#include <cstddef>
#include <cstdint>

// The input is the start of an executable. The file it came from is claimed
// to be as long as the input, and then longer by the amount the last four
// bytes give, as a lying header can name offsets far beyond what was read.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QByteArray head = bytes.left(VTMachO::HeaderBytes);
    const auto exact = VTMachO::parse(head, bytes.size());
    if (exact.size() > qsizetype(VTMachO::MaximumSlices))
        __builtin_trap();
    qint64 extra = 0;
    if (size >= 4) {
        for (size_t i = size - 4; i < size; ++i)
            extra = (extra << 8) | data[i];
    }
    (void)VTMachO::parse(head, bytes.size() + extra * 4096);
    return 0;
}
