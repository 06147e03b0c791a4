#pragma once

#include <QStringList>

#include <cstdio>

// "-export json" and "-export csv": builds the catalogue and writes every
// plug-in record to the output. Any other format writes nothing and ends
// with status 1.
[[nodiscard]] int runExportCommand(const QStringList &arguments, FILE *output);
