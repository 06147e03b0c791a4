#pragma once

// Independent readers for checking what the sandbox wrote: Python's plistlib
// and struct, getfattr, bash. None of them shares code with the sandbox.

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include "VTTestProcess.h"

#include <gtest/gtest.h>

namespace SandboxTest {

using ProcessResult = VTTest::Run;
using VTTest::python;

inline ProcessResult run(const QString &program, const QStringList &args, int timeoutMs = 60000)
{
    VTTest::RunOptions options;
    options.timeoutMs = timeoutMs;
    return VTTest::run(program, args, options);
}

// Runs a Python script (arguments in sys.argv[1:]) that prints one JSON value.
inline QJsonValue pythonJson(const char *script, const QStringList &args)
{
    const ProcessResult result = run(python(), QStringList{QStringLiteral("-c"), QString::fromUtf8(script)} + args);
    EXPECT_EQ(result.exitCode, 0) << result.err.constData();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson("[" + result.out + "]", &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << result.out.constData();
    return document.array().at(0);
}

// Reads a property list with plistlib and gives it back as JSON.
inline QJsonValue plistlibRead(const QString &path)
{
    return pythonJson(R"PY(
import json, plistlib, sys
with open(sys.argv[1], 'rb') as f:
    print(json.dumps(plistlib.load(f)))
)PY",
                      {path});
}

inline QByteArray readBytes(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

} // namespace SandboxTest
