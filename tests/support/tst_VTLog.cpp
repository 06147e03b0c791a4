#include "VTTestProcess.h"
#include "VTTestSandbox.h"
#include "VTLog.h"
#include "VTPropertyList.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QRegularExpression>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QRegularExpression kEntryPattern(
    QStringLiteral("^(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d) [+-]\\d{4} - (.*)$"));

// Where the rule puts the log: the all-users Library for the superuser, the
// user's own Library otherwise.
QString expectedFolder(const VTTestSandbox &sandbox)
{
    const QString base = geteuid() == 0 ? sandbox.root() : sandbox.home();
    return base + QStringLiteral("/Library/Logs/Vantorel");
}

QStringList lines(const QString &path)
{
    QString text = QString::fromUtf8(VTTestSandbox::readFile(path));
    if (text.endsWith(u'\n'))
        text.chop(1);
    return text.isEmpty() ? QStringList() : text.split(u'\n');
}

// The texts of the entries (after the date), header lines left out.
QStringList entryTexts(const QString &path)
{
    QStringList texts;
    for (const QString &line : lines(path)) {
        const QRegularExpressionMatch match = kEntryPattern.match(line);
        if (match.hasMatch())
            texts.append(match.captured(2));
    }
    return texts;
}

QString numbered(const QString &folder, const QString &name, int number)
{
    return QStringLiteral("%1/%2.%3.log").arg(folder, name).arg(number);
}

// Every entry of a log and its older ones, oldest first, without the notes
// that a log was renewed.
QStringList allEntryTexts(const QString &folder, const QString &name, int *renewals = nullptr)
{
    QStringList texts;
    for (int number = 5; number >= 1; --number) {
        for (const QString &text : entryTexts(numbered(folder, name, number))) {
            if (text == QLatin1String("Log truncated at 500KB")) {
                if (renewals)
                    ++*renewals;
                continue;
            }
            texts.append(text);
        }
    }
    return texts;
}

} // namespace

TEST(VTLog, HeaderAndEntryFormat)
{
    VTTestSandbox sandbox;
    // The managed system names its version; the header reports that one.
    ASSERT_TRUE(VTTestSandbox::makeFile(sandbox.systemPath(QStringLiteral("/System/Library/CoreServices/SystemVersion.plist")),
                                      VTPropertyList::toData(QVariantMap{{QStringLiteral("ProductVersion"), QStringLiteral("10.13.6")}},
                                                             VTPropertyList::Format::Xml)));
    VTLog::createNewLog(QStringLiteral("Format"));
    const QString path = expectedFolder(sandbox) + QStringLiteral("/Format.1.log");
    EXPECT_EQ(VTLog::currentLogPath(), path);
    EXPECT_EQ(VTLog::logFolder(), expectedFolder(sandbox));
    VTLog::appendLog(QStringLiteral("first entry"));
    VTLog::fastAppendLog(QStringLiteral("second entry, with ünïcode"));
    testing::internal::CaptureStdout();
    VTLog::appendLogAndPrint(QStringLiteral("printed entry"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "printed entry\n");
    VTLog::finishWriting();
    EXPECT_EQ(VTLog::queuedBytes(), 0);

    const QStringList all = lines(path);
    ASSERT_EQ(all.size(), 8) << VTTestSandbox::readFile(path).toStdString();
    // Logs name every privileged step: they are the user's alone.
    struct stat file {}, folder {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &file), 0);
    ASSERT_EQ(::stat(QFile::encodeName(expectedFolder(sandbox)).constData(), &folder), 0);
    EXPECT_EQ(file.st_mode & 0777, 0600u);
    EXPECT_EQ(folder.st_mode & 0777, 0700u);
    EXPECT_TRUE(all[0].startsWith(QStringLiteral("Log started: "))) << all[0].toStdString();
    EXPECT_EQ(all[1], QStringLiteral("Version: ") + QStringLiteral(TESSARY_VERSION));
    EXPECT_EQ(all[2], QStringLiteral("Path: ") + QCoreApplication::applicationFilePath());
    const QRegularExpressionMatch system = QRegularExpression(
        QStringLiteral("^System: OS X 10\\.13\\.6, (\\d+) CPU\\(s\\), \\d+\\.\\d\\d GB RAM$")).match(all[3]);
    ASSERT_TRUE(system.hasMatch()) << all[3].toStdString();
    EXPECT_EQ(system.captured(1).toLong(), sysconf(_SC_NPROCESSORS_ONLN));
    EXPECT_EQ(all[4], QStringLiteral("Running in 64-bit mode"));

    const QStringList expected{QStringLiteral("first entry"), QStringLiteral("second entry, with ünïcode"),
                               QStringLiteral("printed entry")};
    for (int i = 0; i < 3; ++i) {
        const QRegularExpressionMatch match = kEntryPattern.match(all[5 + i]);
        ASSERT_TRUE(match.hasMatch()) << all[5 + i].toStdString();
        EXPECT_EQ(match.captured(2), expected[i]);
        const QDateTime when = QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        EXPECT_LT(qAbs(when.secsTo(QDateTime::currentDateTime())), 120) << match.captured(1).toStdString();
    }

    // After finishWriting the same log is opened again and appended to.
    VTLog::appendLog(QStringLiteral("after finishing"));
    VTLog::finishWriting();
    EXPECT_EQ(entryTexts(path).value(3), QStringLiteral("after finishing"));
    EXPECT_TRUE(lines(path).value(0).startsWith(QStringLiteral("Log started: ")));
}

TEST(VTLog, EachNewLogShiftsTheOlderOnes)
{
    VTTestSandbox sandbox;
    for (int run = 1; run <= 6; ++run) {
        VTLog::createNewLog(QStringLiteral("Rotate"));
        VTLog::appendLog(QStringLiteral("run %1").arg(run));
    }
    VTLog::finishWriting();
    const QString folder = expectedFolder(sandbox);
    // .1 is the newest; five runs are kept and the first is gone.
    for (int number = 1; number <= 5; ++number)
        EXPECT_EQ(entryTexts(numbered(folder, QStringLiteral("Rotate"), number)),
                  QStringList{QStringLiteral("run %1").arg(7 - number)})
            << "log " << number;
    EXPECT_FALSE(QFile::exists(numbered(folder, QStringLiteral("Rotate"), 6)));
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 5);
}

TEST(VTLog, DisableLoggingInTheSuitePreferencesTurnsItOff)
{
    VTTestSandbox sandbox;
    const QString globalPrefs = sandbox.home() + QStringLiteral("/Library/Preferences/com.vantorel.global.plist");
    QDir().mkpath(QFileInfo(globalPrefs).absolutePath());
    ASSERT_TRUE(VTPropertyList::writeFile(globalPrefs, QVariantMap{{QStringLiteral("disable-logging"), true}},
                                          VTPropertyList::Format::Binary));
    VTLog::createNewLog(QStringLiteral("Quiet"));
    VTLog::appendLog(QStringLiteral("not written"));
    VTLog::finishWriting();
    const QString path = expectedFolder(sandbox) + QStringLiteral("/Quiet.1.log");
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(VTLog::queuedBytes(), 0);

    ASSERT_TRUE(VTPropertyList::writeFile(globalPrefs, QVariantMap{{QStringLiteral("disable-logging"), false}},
                                          VTPropertyList::Format::Xml));
    VTLog::createNewLog(QStringLiteral("Quiet"));
    VTLog::appendLog(QStringLiteral("written"));
    VTLog::finishWriting();
    EXPECT_EQ(entryTexts(path), QStringList{QStringLiteral("written")});
}

TEST(VTLog, EntriesFromManyThreadsAreWrittenOnceAndAFullLogContinuesInANewOne)
{
    VTTestSandbox sandbox;
    VTLog::createNewLog(QStringLiteral("Threads"));
    constexpr int threads = 8;
    constexpr int perThread = 2500; // over 1 MB in all, so the log is renewed on the way
    std::atomic<int> ready{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([t, &ready] {
            ready.fetch_add(1);
            while (ready.load() < threads)
                std::this_thread::yield();
            for (int i = 0; i < perThread; ++i)
                VTLog::appendLog(QStringLiteral("thread %1 entry %2 ........................").arg(t).arg(i));
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    VTLog::finishWriting();

    // Nothing lost, nothing doubled, each thread's order kept across the files.
    const QString folder = expectedFolder(sandbox);
    std::vector<std::vector<int>> seen(threads);
    int renewals = 0;
    for (const QString &text : allEntryTexts(folder, QStringLiteral("Threads"), &renewals)) {
        const QStringList words = text.split(u' ');
        ASSERT_GE(words.size(), 4) << text.toStdString();
        seen[words[1].toInt()].push_back(words[3].toInt());
    }
    ASSERT_GE(renewals, 2);
    for (int t = 0; t < threads; ++t) {
        ASSERT_EQ(seen[t].size(), size_t(perThread)) << "thread " << t;
        for (int i = 0; i < perThread; ++i)
            ASSERT_EQ(seen[t][i], i) << "thread " << t << " out of order";
    }
    // A full log ends with the entry that crossed the limit; the next one has
    // its header, then says why it was started.
    for (int number = 1; number <= renewals + 1; ++number) {
        const QString path = numbered(folder, QStringLiteral("Threads"), number);
        if (number > 1) {
            EXPECT_GE(QFileInfo(path).size(), VTLog::MaximumLogBytes) << number;
            EXPECT_LT(QFileInfo(path).size(), VTLog::MaximumLogBytes + 200) << number;
        }
        EXPECT_TRUE(lines(path).value(0).startsWith(QStringLiteral("Log started: "))) << number;
        EXPECT_EQ(lines(path).value(4), QStringLiteral("Running in 64-bit mode")) << number;
        if (number <= renewals) {
            EXPECT_EQ(entryTexts(path).value(0), QStringLiteral("Log truncated at 500KB")) << number;
        }
    }
    EXPECT_FALSE(QFile::exists(numbered(folder, QStringLiteral("Threads"), renewals + 2)));
}

TEST(VTLog, AppendingDoesNotWaitForTheDisk)
{
    VTTestSandbox sandbox;
    VTLog::createNewLog(QStringLiteral("Stalled"));
    VTLog::finishWriting();
    // The log's file becomes a pipe nobody reads yet: the writer's reopen
    // blocks there, as it would on a disk that does not answer.
    const QByteArray path = QFile::encodeName(VTLog::currentLogPath());
    ASSERT_EQ(::unlink(path.constData()), 0);
    ASSERT_EQ(::mkfifo(path.constData(), 0600), 0);

    // Kept under the size at which the log starts a new file.
    constexpr int threads = 4;
    constexpr int perThread = 1000;
    std::atomic<int> returned{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&returned] {
            for (int i = 0; i < perThread; ++i)
                VTLog::appendLog(QStringLiteral("stalled entry %1").arg(i));
            ++returned;
        });
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (returned < threads && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const bool allReturned = returned == threads;
    EXPECT_TRUE(allReturned) << returned.load() << " of " << threads << " callers returned while the writer was blocked";
    EXPECT_GT(VTLog::queuedBytes(), 0);

    // Reading the pipe lets the writer go on; nothing was lost meanwhile.
    QByteArray received;
    std::thread reader([&] {
        const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        char buffer[65536];
        ssize_t n = 0;
        while (fd >= 0 && (n = ::read(fd, buffer, sizeof buffer)) > 0)
            received.append(buffer, n);
        if (fd >= 0)
            ::close(fd);
    });
    for (std::thread &worker : workers)
        worker.join();
    VTLog::finishWriting();
    reader.join();
    EXPECT_EQ(received.count("stalled entry "), threads * perThread);
}

TEST(VTLog, AnotherProcessOfAnOrdinaryUserLosesNothingWhenItReturnsFromMain)
{
    VTTestSandbox sandbox;
    QStringList command{QStringLiteral(TESSARY_SUPPORT_PROBE), QStringLiteral("log"), QStringLiteral("User"),
                        QStringLiteral("20000")};
    if (geteuid() == 0) {
        // Run the probe as an ordinary account against the sandbox.
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (setpriv.isEmpty())
            GTEST_SKIP() << "setpriv is needed to run as an ordinary user";
        command = QStringList{setpriv, QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                              QStringLiteral("--clear-groups"), QStringLiteral("--")}
            + command;
        chmod(QFile::encodeName(sandbox.path()).constData(), 0755);
        chmod(QFile::encodeName(sandbox.home()).constData(), 0777);
    }
    VTTest::RunOptions options;
    options.mergeOutput = true;
    const VTTest::Run run = VTTest::run(command.first(), command.mid(1), options);
    ASSERT_EQ(run.exitCode, 0) << run.out.toStdString();
    const QStringList texts = allEntryTexts(sandbox.home() + QStringLiteral("/Library/Logs/Vantorel"), QStringLiteral("User"));
    ASSERT_EQ(texts.size(), 20000);
    EXPECT_EQ(texts.first(), QStringLiteral("probe entry 0"));
    EXPECT_EQ(texts.last(), QStringLiteral("probe entry 19999"));
    EXPECT_FALSE(QFile::exists(sandbox.root() + QStringLiteral("/Library/Logs")));
}
