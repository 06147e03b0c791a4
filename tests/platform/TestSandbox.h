#pragma once

// Small helpers of the platform, support and filesystem tests around the
// shared sandbox: captured standard output, whole-file reads, Python.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include "VTTestProcess.h"
#include "VTTestSandbox.h"

#include <cstdio>

#include <unistd.h>

// The platform, support and filesystem tests know the shared sandbox by this
// name.
using TestSandbox = VTTestSandbox;

// Redirects standard output to a file for the life of the object.
class CapturedStandardOutput
{
public:
    explicit CapturedStandardOutput(const QString &path)
    {
        fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        if (FILE *file = fopen(QFile::encodeName(path).constData(), "w")) {
            dup2(fileno(file), STDOUT_FILENO);
            fclose(file);
        }
    }
    CapturedStandardOutput(const CapturedStandardOutput &) = delete;
    CapturedStandardOutput &operator=(const CapturedStandardOutput &) = delete;
    ~CapturedStandardOutput()
    {
        fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
    }

private:
    int m_saved = -1;
};

inline QByteArray readWholeFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A Python script's exit code and its output and errors merged; -1 when
// python3 cannot be run.
struct PythonRun {
    int exitCode = -1;
    QByteArray output;
};

inline PythonRun runPython(const QString &script, const QStringList &arguments = {})
{
    const VTTest::Run run = VTTest::runPython(script, arguments);
    return {run.exitCode, run.out};
}
