// The background frame: the cancel flag's life and the waits on worker
// threads. (That display steps need a window is checked by the installation
// without one.)

#include "OperationsTestSupport.h"

#include <QFile>

#include <atomic>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

struct ThreadState {
    bool sleeping = false;
    long voluntarySwitches = 0;
};

ThreadState threadState(pid_t thread)
{
    QFile file(QStringLiteral("/proc/self/task/%1/status").arg(thread));
    ThreadState state;
    if (!file.open(QIODevice::ReadOnly))
        return state;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith("State:"))
            state.sleeping = line.contains("(sleeping)");
        else if (line.startsWith("voluntary_ctxt_switches:"))
            state.voluntarySwitches = line.mid(24).trimmed().toLong();
    }
    return state;
}

} // namespace

TEST(VTOperationFrame, TheSheetClearsTheCancelFlag)
{
    VTRecordingInterface ui(false);
    VTOperationFrame frame(ui, false);
    frame.cancelProgress();
    frame.showProgressWindow();
    EXPECT_FALSE(frame.processingCancelled());
    frame.setProcessingCancelled(true);
    frame.endProgressWindow();
    EXPECT_FALSE(frame.processingCancelled());
}

TEST(VTOperationFrame, WaitOnProcessingWaitsForTheCancelFlagNotForTheCount)
{
    RecordingInterface ui(false);
    VTOperationFrame frame(ui, false);
    std::atomic<bool> returned{false};
    std::atomic<pid_t> waiterId{0};
    frame.incrementTaskThreadCount();
    std::thread waiter([&] {
        waiterId = static_cast<pid_t>(::syscall(SYS_gettid));
        frame.waitOnProcessing();
        returned = true;
    });
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    // Waits until the waiter sleeps after more than `switches` voluntary
    // switches: the kernel's own account of it having gone back to waiting.
    const auto sleepsAfter = [&](long switches) {
        while (std::chrono::steady_clock::now() < deadline && !returned) {
            const ThreadState state = threadState(waiterId);
            if (state.sleeping && state.voluntarySwitches > switches)
                return state.voluntarySwitches;
            std::this_thread::sleep_for(1ms);
        }
        return -1L;
    };
    while (waiterId == 0)
        std::this_thread::yield();
    const long asleep = sleepsAfter(0);
    ASSERT_GT(asleep, 0);
    // The count reaching zero wakes the waiter, which goes back to waiting.
    frame.decrementTaskThreadCount();
    EXPECT_GT(sleepsAfter(asleep), asleep);
    EXPECT_FALSE(returned.load());
    frame.cancelProgress();
    waiter.join();
    EXPECT_TRUE(returned.load());
}

TEST(VTOperationThreads, WaitingCoversEveryStartedBodyAndSurvivesExceptions)
{
    VTOperationThreads threads;
    std::atomic<int> done{0};
    for (int i = 0; i < 4; ++i) {
        threads.start("test", [&done, i] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20 * i));
            ++done;
            if (i == 2)
                throw std::runtime_error("escaped");
        });
    }
    EXPECT_TRUE(threads.waitForAll(10s));
    EXPECT_EQ(done.load(), 4);
    EXPECT_EQ(threads.runningCount(), 0);

    std::atomic<bool> release{false};
    threads.start("test", [&release] {
        while (!release.load())
            std::this_thread::sleep_for(1ms);
    });
    EXPECT_FALSE(threads.waitForAll(50ms));
    EXPECT_EQ(threads.runningCount(), 1);
    release = true;
    EXPECT_TRUE(threads.waitForAll(10s));
}
