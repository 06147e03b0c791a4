#pragma once

#include <QString>

// Whether a window can be shown at all, asked before QApplication is made,
// which would otherwise end the process on a missing display. Used by the
// program and by the template installer.
namespace VTDisplayCheck {

// Why no display can be opened for the platform Qt would pick; empty when
// one can (or when the platform needs none, like "offscreen").
[[nodiscard]] QString displayProblem();

} // namespace VTDisplayCheck
