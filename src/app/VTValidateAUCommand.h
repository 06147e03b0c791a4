#pragma once

#include <cstdio>

// "-validateau": lists and validates every Audio Unit without a window and
// prints the table (title, manufacturer, status) as aligned text. The exit
// status is 0 when every unit is "OK", 1 otherwise or when the run could not
// list the units.
class VTValidateAUCommand
{
public:
    [[nodiscard]] static int run(FILE *output);
};
