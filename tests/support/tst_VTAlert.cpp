#include "../platform/TestSandbox.h"
#include "VTAlert.h"
#include "VTConsoleInterface.h"
#include "VTLog.h"

#include <gtest/gtest.h>

namespace {

// Stands in for the window: records what it was asked to show and answers
// with a scripted button.
class ScriptedInterface final : public VTUserInterface
{
public:
    explicit ScriptedInterface(int answer) : m_answer(answer) {}
    [[nodiscard]] bool hasWindow() const override { return true; }
    int runAlert(const Alert &alert) override
    {
        m_shown.push_back(alert);
        return m_answer;
    }
    void startBusyIndicator() override {}
    void stopBusyIndicator() override {}
    void showProgressSheet() override {}
    void setIndeterminateProgress() override {}
    void setDeterminateProgress(qint64) override {}
    void incrementProgress() override {}
    void updateProgressText(const QString &) override {}
    void endProgressSheet() override {}
    void setCatalogueLoading(bool) override {}
    void setStatisticsText(const QString &) override {}
    [[nodiscard]] const std::vector<Alert> &shown() const { return m_shown; }

private:
    int m_answer;
    std::vector<Alert> m_shown;
};

} // namespace

TEST(VTAlert, WithoutAWindowTheAlertIsOneLineOnStandardOutput)
{
    TestSandbox sandbox;
    const QString out = sandbox.path() + QStringLiteral("/stdout.txt");
    VTConsoleInterface console;
    int answer = 0;
    {
        CapturedStandardOutput capture(out);
        answer = VTAlert::runSheet(console, QStringLiteral("Permissions incorrectly set"),
                                   QStringLiteral("Tessary has determined that the permissions\nare wrong.\r\nRepair?"),
                                   {QStringLiteral("Repair"), QStringLiteral("Cancel")});
    }
    EXPECT_EQ(answer, VTUserInterface::FirstButton);
    EXPECT_EQ(readWholeFile(out),
              "Permissions incorrectly set Tessary has determined that the permissions are wrong. Repair?\n");

    {
        CapturedStandardOutput capture(out);
        answer = VTAlert::runModal(console, QStringLiteral("Tessary: Done"), QString());
    }
    EXPECT_EQ(answer, 1000);
    EXPECT_EQ(readWholeFile(out), "Tessary: Done\n");
}

TEST(VTAlert, SheetOrModalWithTheChosenButton)
{
    ScriptedInterface window(VTUserInterface::SecondButton);
    const int answer = VTAlert::runSheet(window, QStringLiteral("Are you sure you wish to close?"),
                                         QStringLiteral("This will terminate the crash test."),
                                         {QStringLiteral("End Crash Test"), QStringLiteral("Cancel")});
    EXPECT_EQ(answer, 1001);
    ASSERT_EQ(window.shown().size(), 1u);
    EXPECT_TRUE(window.shown()[0].asSheet);
    EXPECT_EQ(window.shown()[0].messageText, QStringLiteral("Are you sure you wish to close?"));
    EXPECT_EQ(window.shown()[0].informativeText, QStringLiteral("This will terminate the crash test."));
    EXPECT_EQ(window.shown()[0].buttons, (QStringList{QStringLiteral("End Crash Test"), QStringLiteral("Cancel")}));

    ScriptedInterface third(VTUserInterface::ThirdButton);
    EXPECT_EQ(VTAlert::runModal(third, QStringLiteral("m"), QStringLiteral("i"),
                                {QStringLiteral("Replace"), QStringLiteral("Skip"), QStringLiteral("Stop")}),
              1002);
    ASSERT_EQ(third.shown().size(), 1u);
    EXPECT_FALSE(third.shown()[0].asSheet);
}

TEST(VTAlert, AtMostThreeButtonsAndNoEmptyOnes)
{
    TestSandbox sandbox;
    VTLog::createNewLog(QStringLiteral("Alerts"));
    ScriptedInterface window(VTUserInterface::FirstButton);
    VTAlert::runSheet(window, QStringLiteral("Too many"), QString(),
                      {QStringLiteral("A"), QString(), QStringLiteral("B"), QStringLiteral("C"), QStringLiteral("D")});
    ASSERT_EQ(window.shown().size(), 1u);
    EXPECT_EQ(window.shown()[0].buttons, (QStringList{QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")}));
    VTLog::finishWriting();
    EXPECT_TRUE(readWholeFile(VTLog::currentLogPath()).contains("\"D\" is left out"));
}
