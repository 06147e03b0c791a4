// tessary-sandbox: makes a sandboxed system for trying Tessary by hand,
// for end-to-end tests and for benchmarks.
//
//   tessary-sandbox demo DIR [--manifest FILE]
//   tessary-sandbox scaled N DIR [--seed S] [--manifest FILE]
//
// Makes DIR/root (the system root) and DIR/home, fills them, and prints one
// shell line that points Tessary at them:
//   export TESSARY_SYSTEM_ROOT='DIR/root' HOME='DIR/home'

#include "VTPath.h"
#include "VTSandboxBuilder.h"

#include <QDir>
#include <QElapsedTimer>
#include <QStringList>

#include <cstdio>

namespace {

int usage()
{
    std::fputs("usage: tessary-sandbox demo DIR [--manifest FILE]\n"
               "       tessary-sandbox scaled N DIR [--seed S] [--manifest FILE]\n",
               stderr);
    return 2;
}

void printError(const QString &text)
{
    std::fprintf(stderr, "tessary-sandbox: %s\n", text.toLocal8Bit().constData());
}

QString shellQuoted(const QString &text)
{
    QString out = text;
    out.replace(u'\'', QStringLiteral("'\\''"));
    return u'\'' + out + u'\'';
}

bool isEmptyOrMissing(const QString &path)
{
    const QDir dir(path);
    return !dir.exists() || dir.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

} // namespace

int main(int argc, char **argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args.append(QString::fromLocal8Bit(argv[i]));

    QString manifestPath;
    quint32 seed = 1;
    QStringList positional;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        if (arg == QLatin1String("--manifest") || arg == QLatin1String("--seed")) {
            if (i + 1 >= args.size())
                return usage();
            const QString value = args.at(++i);
            if (arg == QLatin1String("--manifest")) {
                manifestPath = value;
            } else {
                bool ok = false;
                seed = value.toUInt(&ok);
                if (!ok)
                    return usage();
            }
        } else if (arg.startsWith(QLatin1String("--"))) {
            return usage();
        } else {
            positional.append(arg);
        }
    }

    const QString preset = positional.value(0);
    int count = 0;
    QString dir;
    if (preset == QLatin1String("demo") && positional.size() == 2) {
        dir = positional.at(1);
    } else if (preset == QLatin1String("scaled") && positional.size() == 3) {
        bool ok = false;
        count = positional.at(1).toInt(&ok);
        if (!ok || count < 0)
            return usage();
        dir = positional.at(2);
    } else {
        return usage();
    }

    dir = QDir(dir).absolutePath();
    const QString root = VTPath::join(dir, QStringLiteral("root"));
    const QString home = VTPath::join(dir, QStringLiteral("home"));
    if (!isEmptyOrMissing(root) || !isEmptyOrMissing(home)) {
        printError(QStringLiteral("%1 already holds a sandbox; choose an empty folder").arg(dir));
        return 1;
    }

    QElapsedTimer timer;
    timer.start();
    VTSandboxBuilder builder(root, home);
    if (preset == QLatin1String("demo"))
        builder.demo();
    else
        builder.scaled(count, seed);
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;

    for (const QString &error : builder.errors())
        printError(error);
    if (!builder.ok())
        return 1;
    if (!manifestPath.isEmpty() && !builder.manifest().writeJson(manifestPath)) {
        printError(QStringLiteral("cannot write %1").arg(manifestPath));
        return 1;
    }

    const VTSandboxManifest &manifest = builder.manifest();
    std::fprintf(stderr, "tessary-sandbox: made %lld plug-ins (%lld disabled) in %.3f s\n",
                 static_cast<long long>(manifest.plugins.size()), static_cast<long long>(manifest.disabledCount()),
                 seconds);
    std::printf("export TESSARY_SYSTEM_ROOT=%s HOME=%s\n", shellQuoted(builder.root()).toLocal8Bit().constData(),
                shellQuoted(builder.home()).toLocal8Bit().constData());
    return 0;
}
