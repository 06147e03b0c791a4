#pragma once

// Independent readers for checking what the sandbox wrote: Python's plistlib
// and struct, getfattr, bash. None of them shares code with the sandbox.

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

namespace SandboxTest {

struct ProcessResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

inline ProcessResult run(const QString &program, const QStringList &args, int timeoutMs = 60000)
{
    ProcessResult result;
    QProcess process;
    process.start(program, args);
    if (!process.waitForStarted(timeoutMs))
        return result;
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

inline QString python()
{
    return QStandardPaths::findExecutable(QStringLiteral("python3"));
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
