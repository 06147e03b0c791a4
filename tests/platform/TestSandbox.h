#pragma once

// The platform and support tests know the shared sandbox by this name.

#include "VTTestProcess.h"
#include "VTTestSandbox.h"

using TestSandbox = VTTestSandbox;

