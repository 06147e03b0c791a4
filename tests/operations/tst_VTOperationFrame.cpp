// The background frame: display steps only with a user interface, the cancel
// flag's life, the worker-thread count and its waits.

#include "OperationsTestSupport.h"

#include <atomic>
#include <thread>

using OpsTest::RecordingInterface;
using namespace std::chrono_literals;

namespace {

void runEveryDisplayStep(VTOperationFrame &frame)
{
    frame.startProgress();
    frame.showProgressWindow();
    frame.setIndeterminateProgress();
    frame.setDeterminateProgress(5);
    frame.incrementProgress();
    frame.updateProgressText(QStringLiteral("Moving files..."));
    frame.endProgressWindow();
    frame.endProgress();
}

} // namespace

TEST(VTOperationFrame, WithoutAUserInterfaceNothingIsShownButCancelStillCounts)
{
    RecordingInterface ui(false);
    VTOperationFrame frame(ui, false);
    runEveryDisplayStep(frame);
    EXPECT_TRUE(ui.steps().isEmpty());

    frame.cancelProgress();
    EXPECT_TRUE(frame.processingCancelled());
    frame.endProgressWindow();
    EXPECT_FALSE(frame.processingCancelled()) << "closing the sheet clears the flag even with no sheet";
}

TEST(VTOperationFrame, WithAUserInterfaceEveryStepReachesIt)
{
    RecordingInterface ui;
    VTOperationFrame frame(ui, true);
    runEveryDisplayStep(frame);
    EXPECT_EQ(ui.steps(), (QStringList{QStringLiteral("busy"), QStringLiteral("sheet"), QStringLiteral("indeterminate"),
                                       QStringLiteral("max:5"), QStringLiteral("step"),
                                       QStringLiteral("text:Moving files..."), QStringLiteral("end"),
                                       QStringLiteral("idle")}));
}

TEST(VTOperationFrame, ShowingAndClosingTheSheetClearTheCancelFlag)
{
    RecordingInterface ui;
    VTOperationFrame frame(ui, true);
    frame.cancelProgress();
    frame.showProgressWindow();
    EXPECT_FALSE(frame.processingCancelled());

    frame.setDeterminateProgress(5);
    for (int i = 0; i < 5; ++i)
        frame.incrementProgress();
    EXPECT_EQ(ui.steps(QStringLiteral("step")).size(), 5);

    frame.setProcessingCancelled(true);
    frame.endProgressWindow();
    EXPECT_FALSE(frame.processingCancelled());
}

TEST(VTOperationFrame, TheThreadCountNeverGoesBelowZero)
{
    RecordingInterface ui(false);
    VTOperationFrame frame(ui, false);
    frame.incrementTaskThreadCount();
    frame.incrementTaskThreadCount();
    EXPECT_EQ(frame.taskThreadCount(), 2);
    frame.decrementTaskThreadCount();
    frame.decrementTaskThreadCount();
    frame.decrementTaskThreadCount();
    EXPECT_EQ(frame.taskThreadCount(), 0);
    frame.incrementTaskThreadCount();
    EXPECT_EQ(frame.taskThreadCount(), 1);
}

TEST(VTOperationFrame, WaitOnProcessingWaitsForTheCancelFlagNotForTheCount)
{
    RecordingInterface ui(false);
    VTOperationFrame frame(ui, false);
    std::atomic<bool> returned{false};
    frame.incrementTaskThreadCount();
    std::thread waiter([&] {
        frame.waitOnProcessing();
        returned = true;
    });
    // The count reaching zero wakes the waiter, which goes back to waiting.
    frame.decrementTaskThreadCount();
    std::this_thread::sleep_for(100ms);
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
