#include "VTTestSandbox.h"
#include "VTAlert.h"
#include "VTConsoleInterface.h"
#include "VTLog.h"
#include "VTRecordingInterface.h"

#include <gtest/gtest.h>

TEST(VTAlert, WithoutAWindowTheAlertIsOneLineOnStandardOutput)
{
    VTConsoleInterface console;
    testing::internal::CaptureStdout();
    int answer = VTAlert::runSheet(console, QStringLiteral("Permissions incorrectly set"),
                                   QStringLiteral("Tessary has determined that the permissions\nare wrong.\r\nRepair?"),
                                   {QStringLiteral("Repair"), QStringLiteral("Cancel")});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Permissions incorrectly set Tessary has determined that the permissions are wrong. Repair?\n");
    EXPECT_EQ(answer, VTUserInterface::FirstButton);

    testing::internal::CaptureStdout();
    answer = VTAlert::runModal(console, QStringLiteral("Tessary: Done"), QString());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Tessary: Done\n");
    EXPECT_EQ(answer, 1000);
}

TEST(VTAlert, SheetOrModalWithTheChosenButton)
{
    VTRecordingInterface window(true);
    window.answerNext(VTUserInterface::SecondButton);
    const int answer = VTAlert::runSheet(window, QStringLiteral("Are you sure you wish to close?"),
                                         QStringLiteral("This will terminate the crash test."),
                                         {QStringLiteral("End Crash Test"), QStringLiteral("Cancel")});
    EXPECT_EQ(answer, 1001);
    ASSERT_EQ(window.alerts().size(), 1);
    EXPECT_TRUE(window.alerts()[0].asSheet);
    EXPECT_EQ(window.alerts()[0].messageText, QStringLiteral("Are you sure you wish to close?"));
    EXPECT_EQ(window.alerts()[0].informativeText, QStringLiteral("This will terminate the crash test."));
    EXPECT_EQ(window.alerts()[0].buttons, (QStringList{QStringLiteral("End Crash Test"), QStringLiteral("Cancel")}));

    VTRecordingInterface third(true);
    third.answerNext(VTUserInterface::ThirdButton);
    EXPECT_EQ(VTAlert::runModal(third, QStringLiteral("m"), QStringLiteral("i"),
                                {QStringLiteral("Replace"), QStringLiteral("Skip"), QStringLiteral("Stop")}),
              1002);
    ASSERT_EQ(third.alerts().size(), 1);
    EXPECT_FALSE(third.alerts()[0].asSheet);
}

TEST(VTAlert, AtMostThreeButtonsAndNoEmptyOnes)
{
    VTTestSandbox sandbox;
    VTLog::createNewLog(QStringLiteral("Alerts"));
    VTRecordingInterface window(true);
    VTAlert::runSheet(window, QStringLiteral("Too many"), QString(),
                      {QStringLiteral("A"), QString(), QStringLiteral("B"), QStringLiteral("C"), QStringLiteral("D")});
    ASSERT_EQ(window.alerts().size(), 1);
    EXPECT_EQ(window.alerts()[0].buttons, (QStringList{QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")}));
    VTLog::finishWriting();
    EXPECT_TRUE(VTTestSandbox::readFile(VTLog::currentLogPath()).contains("\"D\" is left out"));
}
