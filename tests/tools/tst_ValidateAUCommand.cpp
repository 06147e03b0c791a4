#include "AUValSandbox.h"
#include "VTTestProcess.h"

#include <gtest/gtest.h>

namespace {

struct ProgramRun {
    int exitCode = -1;
    QStringList lines;
};

// The built program, run on the sandbox the test process points at.
ProgramRun runValidateAU()
{
    const VTTest::Run run = VTTest::run(qEnvironmentVariable("TESSARY_PROGRAM"), {QStringLiteral("-validateau")});
    return {run.exitCode, QString::fromUtf8(run.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts)};
}

} // namespace

TEST(ValidateAUCommand, PrintsTheTableAlignedAndExitsByTheStatuses)
{
    AUValSandbox sandbox;
    sandbox.setBannerListing({QStringLiteral("aufx dcmp appl - Apple: AUDynamicsProcessor"),
                              QStringLiteral("aumu dls appl - Apple: DLSMusicDevice"),
                              QStringLiteral("aumu synt vndr - Some Vendor: Synth")});
    sandbox.setStatuses({QStringLiteral("aumu synt vndr 3")});

    ProgramRun run = runValidateAU();
    EXPECT_EQ(run.exitCode, 1);
    const QStringList expected = {
        QStringLiteral("Title                Manufacturer  Status"),
        QStringLiteral("AUDynamicsProcessor  Apple         OK"),
        QStringLiteral("Synth                Some Vendor   Unknown"),
    };
    EXPECT_EQ(run.lines, expected);

    sandbox.setStatuses({});
    run = runValidateAU();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.lines.value(2), QStringLiteral("Synth                Some Vendor   OK"));
}

TEST(ValidateAUCommand, RunsThatCannotCompleteFail)
{
    {
        AUValSandbox sandbox(false);
        const ProgramRun run = runValidateAU();
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.lines, QStringList{QStringLiteral(
                                 "Unable to locate validator. Audio Unit validation could not be completed.")});
    }
    {
        // A list line of two words ends the run: no table, not a success.
        AUValSandbox sandbox;
        sandbox.setBannerListing({QStringLiteral("aufx dcmp appl - Apple: AUDynamicsProcessor"), QStringLiteral("aufx broken")});
        const ProgramRun run = runValidateAU();
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.lines, QStringList{QStringLiteral("Error: unreadable data returned from validator. "
                                                        "Audio Unit validation could not be completed.")});
    }
}
