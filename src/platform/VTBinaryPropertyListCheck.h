#pragma once

#include <QByteArray>

// A check of binary property lists before libplist builds them. libplist
// (2.2) aborts the whole process on a dictionary key that holds a NUL byte
// (an assertion in plist_get_key_val), and Info.plist files and pasteboard
// data come from anywhere, so such input must never reach it.
namespace VTBinaryPropertyListCheck {

// False when `bytes` is a binary property list whose structure (trailer,
// offset table, dictionary objects) is out of bounds or whose dictionary
// keys are not NUL-free strings. Input that is not a binary property list
// passes unexamined.
[[nodiscard]] bool isSafe(const QByteArray &bytes);

} // namespace VTBinaryPropertyListCheck
