#pragma once

#include <QString>

// The window application: checks that a display can be opened, starts
// QApplication, the controller with the widget interface and the main
// window, queues the first reload and runs the event loop.
namespace VTWindowApplication {

// Returns the program's exit status.
int run(int &argc, char **argv);

} // namespace VTWindowApplication
