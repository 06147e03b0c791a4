// The tessary-sandbox command: its shell output, its manifest and its refusals.

#include "VTTestProcess.h"
#include "VTTestSandbox.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

namespace {

QString tool()
{
    return QString::fromLocal8Bit(qgetenv("TESSARY_BINARY_DIR")) + QStringLiteral("/bin/tessary-sandbox");
}

} // namespace

TEST(SandboxTool, DemoPrintsAnExportLineTheShellAccepts)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    // A space and a quote in the folder name must survive the shell.
    const QString dir = temp.filePath(QStringLiteral("it's a demo"));
    const QString manifest = temp.filePath(QStringLiteral("manifest.json"));
    const QString script = QStringLiteral("eval \"$(\"$0\" demo \"$1\" --manifest \"$2\")\" || exit 9; "
                                          "printf '%s\\n%s\\n' \"$TESSARY_SYSTEM_ROOT\" \"$HOME\"");
    const auto result = VTTest::run(QStringLiteral("/bin/bash"),
                                         {QStringLiteral("-c"), script, tool(), dir, manifest});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QStringList lines = QString::fromUtf8(result.out).split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines.at(0), dir + QStringLiteral("/root"));
    EXPECT_EQ(lines.at(1), dir + QStringLiteral("/home"));
    EXPECT_TRUE(QFileInfo(dir + QStringLiteral("/root/Library/Plug-Ins/FxPlug/Gaussian Blur.fxplug/Contents/Info.plist")).isFile());
    EXPECT_TRUE(QFileInfo(dir + QStringLiteral("/home/Library/Plug-Ins/FxPlug/My Vignette.fxplug")).isDir());

    const QJsonObject json = QJsonDocument::fromJson(VTTestSandbox::readFile(manifest)).object();
    EXPECT_EQ(json.value(QStringLiteral("root")).toString(), dir + QStringLiteral("/root"));
    const QJsonArray plugins = json.value(QStringLiteral("plugins")).toArray();
    EXPECT_GT(plugins.size(), 40);
    for (const QJsonValue &value : plugins) {
        const QString path = value.toObject().value(QStringLiteral("path")).toString();
        EXPECT_TRUE(QFileInfo::exists(path)) << path.toStdString();
    }
}

TEST(SandboxTool, ScaledHonoursCountAndSeed)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    // Each run's manifest, its own folder written as "@".
    QList<QByteArray> runs;
    for (const QString &name : {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}) {
        const QString seed = name == QLatin1String("c") ? QStringLiteral("8") : QStringLiteral("7");
        const QString manifest = temp.filePath(name + QStringLiteral(".json"));
        const auto result = VTTest::run(tool(), {QStringLiteral("scaled"), QStringLiteral("250"),
                                                      temp.filePath(name), QStringLiteral("--seed"), seed,
                                                      QStringLiteral("--manifest"), manifest});
        ASSERT_EQ(result.exitCode, 0) << result.err.constData();
        EXPECT_TRUE(result.out.startsWith("export TESSARY_SYSTEM_ROOT='")) << result.out.constData();
        EXPECT_TRUE(result.err.contains("made 250 plug-ins (50 disabled)")) << result.err.constData();
        const QJsonArray plugins =
            QJsonDocument::fromJson(VTTestSandbox::readFile(manifest)).object().value(QStringLiteral("plugins")).toArray();
        ASSERT_EQ(plugins.size(), 250);
        runs.append(QJsonDocument(plugins).toJson().replace(QFile::encodeName(temp.filePath(name)), "@"));
    }
    // Same seed, same plug-ins in every field; another seed differs.
    EXPECT_EQ(runs.at(0), runs.at(1));
    EXPECT_NE(runs.at(0), runs.at(2));
}

TEST(SandboxTool, RefusesBadArgumentsAndUsedFolders)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    EXPECT_EQ(VTTest::run(tool(), {}).exitCode, 2);
    EXPECT_EQ(VTTest::run(tool(), {QStringLiteral("scaled"), QStringLiteral("many"), temp.path()}).exitCode, 2);
    EXPECT_EQ(VTTest::run(tool(), {QStringLiteral("demo"), temp.path(), QStringLiteral("--seed")}).exitCode, 2);
    EXPECT_EQ(VTTest::run(tool(), {QStringLiteral("other"), temp.path()}).exitCode, 2);

    ASSERT_TRUE(QDir().mkpath(temp.filePath(QStringLiteral("used/root/Library"))));
    const auto result = VTTest::run(tool(), {QStringLiteral("demo"), temp.filePath(QStringLiteral("used"))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("already holds a sandbox"));
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_FALSE(QFileInfo::exists(temp.filePath(QStringLiteral("used/root/Library/Plug-Ins"))));
}
