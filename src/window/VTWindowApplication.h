#pragma once

#include <QString>

// The window application: checks that a display can be opened, starts
// QApplication, the controller with the widget interface and the main
// window, queues the first reload and runs the event loop.
namespace VTWindowApplication {

// Why no display can be opened for the platform Qt would pick; empty when
// one can (or when the platform needs none, like "offscreen").
[[nodiscard]] QString displayProblem();

// Returns the program's exit status.
int run(int &argc, char **argv);

} // namespace VTWindowApplication
