#include "AUValSandbox.h"
#include "VTAUValTableModel.h"
#include "VTAUValidationDisplay.h"
#include "VTAUValidator.h"
#include "VTTestLog.h"
#include "VTUserDefaults.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

class RecordingDisplay final : public VTAUValidationDisplay
{
public:
    void startAUValProgress() override { ++started; }
    void endAUValProgress() override { ++ended; }
    void showSheet(const QString &messageText, const QString &informativeText) override
    {
        sheets << messageText + QStringLiteral(" / ") + informativeText;
    }
    int started = 0;
    int ended = 0;
    QStringList sheets;
};

QStringList column(const VTAUValTableModel &model, int column)
{
    QStringList values;
    for (int row = 0; row < model.rowCount(); ++row)
        values << model.data(model.index(row, column)).toString();
    return values;
}

VTAudioUnitPtr unit(const char *title, const char *manName)
{
    return std::make_shared<VTAudioUnit>(QStringLiteral("aufx"), QStringLiteral("test"), QStringLiteral("vndr"),
                                         QString::fromUtf8(title), QString::fromUtf8(manName));
}

QStringList texts(std::initializer_list<const char *> values)
{
    QStringList list;
    for (const char *value : values)
        list << QString::fromUtf8(value);
    return list;
}

// A run on the test's own thread; the display steps run at once there.
struct ValidationRun {
    VTAUValTableModel model;
    RecordingDisplay display;
    bool go() { return VTAUValidator(model, display).processAUValidation(); }
    // A table that already shows one unit, to see that a failed run keeps it.
    void preload() { model.updateAUValArray({unit("Earlier", "Maker")}); }
};

const QString couldNot = QStringLiteral("Audio Unit validation could not be completed.");

} // namespace

TEST(VTAUValidator, EveryRunEndsItsProgressAndOneThatListsNoUnitsKeepsTheTable)
{
    const QString dyn = QStringLiteral("aufx dcmp appl - Apple: Dyn");
    const struct {
        const char *name;
        bool validator;
        QStringList listing; // none when empty: the validator prints nothing
        bool completed;
        const char *sheet; // its message; the informative text is always couldNot
        QStringList logged;
        QStringList rows;
    } cases[] = {
        {"no validator", false, {}, false, "Unable to locate validator",
         texts({"Unable to locate auval utility. Audio Unit validation could not be completed."}), texts({"Earlier"})},
        {"no output", true, {}, false, "Error: no data returned from validator",
         texts({"Error: no data returned from validator. Audio Unit validation could not be completed."}), texts({"Earlier"})},
        // Nine lines: eight unit lines and the empty one after the last "\n".
        {"nine lines", true, QStringList(8, dyn) + QStringList{QString()}, false, "Error: invalid data returned from validator",
         texts({"Error: invalid data returned from validator. Audio Unit validation could not be completed.", "Items: ("}),
         texts({"Earlier"})},
        // Ten lines with the banner: no units, an empty table.
        {"banner and one line", true, AUValSandbox::banner() + QStringList{dyn}, true, nullptr,
         texts({"Validating audio units..."}), {}},
        // A line of two words ends the run through the exception path.
        {"two words", true, AUValSandbox::banner() + QStringList{dyn, QStringLiteral("aufx broken"), QStringLiteral("* * done")},
         false, nullptr, texts({"Exception in -[AppController processAUValidation]."}), texts({"Earlier"})},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        AUValSandbox sandbox(c.validator);
        ASSERT_EQ(sandbox.placed(), c.validator);
        if (!c.listing.isEmpty())
            sandbox.setListing(c.listing);
        ValidationRun run;
        run.preload();
        EXPECT_EQ(run.go(), c.completed);
        EXPECT_EQ(run.display.sheets, c.sheet ? QStringList{QString::fromUtf8(c.sheet) + QStringLiteral(" / ") + couldNot} : QStringList());
        const QString log = VTTest::logText();
        for (const QString &line : c.logged)
            EXPECT_TRUE(log.contains(line)) << line.toStdString();
        EXPECT_EQ(run.display.started, 1);
        EXPECT_EQ(run.display.ended, 1);
        EXPECT_EQ(column(run.model, 0), c.rows);
    }
}

TEST(VTAUValidator, ListLinesAreParsedAndSystemUnitsSkipped)
{
    const auto units = VTAUValidator::unitsFromListing({
        QStringLiteral("aufx dcmp appl - Apple: AUDynamicsProcessor"),
        QStringLiteral("aumu dls  appl - Apple: DLSMusicDevice"),
        QStringLiteral("auou def  appl - Apple: DefaultOutputUnit"),
        QStringLiteral("auou sys  appl - Apple: SystemOutputUnit"),
        QStringLiteral("aufx nocl vndr - Vendor without colon"),
        QStringLiteral("aufx nods vndr Vendor: No Dash"),
        QStringLiteral("aufx many vndr - A - B: x: Last Title"),
    });
    ASSERT_EQ(units.size(), 4U);
    EXPECT_EQ(units[0]->typeCode(), QStringLiteral("aufx"));
    EXPECT_EQ(units[0]->idCode(), QStringLiteral("dcmp"));
    EXPECT_EQ(units[0]->manCode(), QStringLiteral("appl"));
    EXPECT_EQ(units[0]->manName(), QStringLiteral("Apple"));
    EXPECT_EQ(units[0]->title(), QStringLiteral("AUDynamicsProcessor"));
    EXPECT_EQ(units[0]->status(), QStringLiteral("Validating..."));
    EXPECT_EQ(units[1]->title(), QStringLiteral("Unknown"));
    EXPECT_EQ(units[2]->title(), QStringLiteral("No Dash"));
    EXPECT_EQ(units[2]->manName(), QStringLiteral("Unknown"));
    // The last ": " and the last " - " count.
    EXPECT_EQ(units[3]->title(), QStringLiteral("Last Title"));
    EXPECT_EQ(units[3]->manName(), QStringLiteral("B: x"));
}

TEST(VTAUValidator, ExitStatusesMapToTheirStatusAndLogLine)
{
    AUValSandbox sandbox;
    const QList<int> codes = {0, 1, 2, 3, 4, 5, 255, 9};
    QStringList lines;
    QStringList statuses;
    for (int code : codes) {
        lines << QStringLiteral("aufx c%1 test - Maker: Unit %1").arg(code);
        statuses << QStringLiteral("aufx c%1 test %1").arg(code);
    }
    sandbox.setBannerListing(lines);
    sandbox.setStatuses(statuses);
    ValidationRun run;
    EXPECT_TRUE(run.go());
    ASSERT_EQ(run.model.rowCount(), codes.size());
    // Sorted by title, the first column, when nothing is stored.
    EXPECT_EQ(column(run.model, 0).first(), QStringLiteral("Unit 0"));
    QStringList got;
    for (const VTAudioUnitPtr &unit : run.model.units())
        got << unit->title() + QLatin1Char('=') + unit->status();
    EXPECT_EQ(got, texts({"Unit 0=OK", "Unit 1=General Error", "Unit 2=Fatal Error", "Unit 255=Failed",
                                "Unit 3=Unknown", "Unit 4=Unauthorized", "Unit 5=Unauthorized", "Unit 9=Unknown"}));
    const QString log = VTTest::logText();
    for (const char *line : {"Unit 1 returned General Error", "Unit 2 returned Fatal Error",
                             "Unit 3 returned Unknown (return code 3)", "Unit 4 returned Unauthorized (open)",
                             "Unit 5 returned Unauthorized (init)", "Unit 255 returned Failed",
                             "Unit 9 returned Unknown (return code 9)", "Validating audio units..."})
        EXPECT_TRUE(log.contains(QLatin1String(line))) << line;
    EXPECT_FALSE(log.contains(QStringLiteral("Unit 0 returned")));
    EXPECT_EQ(run.display.ended, 1);
}

TEST(VTAUValidator, NeverMoreThanFiveValidationsAtOnce)
{
    AUValSandbox sandbox;
    QStringList lines;
    for (int i = 0; i < 12; ++i)
        lines << QStringLiteral("aufx u%1 test - Maker: Unit %1").arg(i, 2, 10, QLatin1Char('0'));
    sandbox.setBannerListing(lines);
    // The validations wait for five at once; a sixth would be counted in
    // the delay they take after that.
    sandbox.setGather(VTAUValidator::QueueWidth);
    sandbox.setDelay(QStringLiteral("0.3"));
    ValidationRun run;
    EXPECT_TRUE(run.go());
    EXPECT_EQ(sandbox.peakConcurrentRuns(), VTAUValidator::QueueWidth);
    for (const VTAudioUnitPtr &unit : run.model.units())
        EXPECT_EQ(unit->status(), QStringLiteral("OK"));
}

TEST(VTAUValTableModel, HeaderClicksToggleStoreAndClear)
{
    AUValSandbox sandbox(false);
    VTAUValTableModel model;
    model.updateAUValArray({unit("beta", "Zed"), unit("Alpha", "yak"), unit("gamma", "Xeno")});
    QSignalSpy cleared(&model, &VTAUValTableModel::sortIndicatorCleared);

    model.didClickTableColumn(QStringLiteral("colTitle"));
    EXPECT_EQ(column(model, 0), texts({"Alpha", "beta", "gamma"}));
    model.didClickTableColumn(QStringLiteral("colTitle"));
    EXPECT_EQ(column(model, 0), texts({"gamma", "beta", "Alpha"}));
    EXPECT_TRUE(VTUserDefaults::value(QStringLiteral("auValSortedDescending")).toBool());
    EXPECT_EQ(cleared.count(), 0);

    model.didClickTableColumn(QStringLiteral("colManufacturer"));
    EXPECT_EQ(column(model, 1), texts({"Xeno", "yak", "Zed"}));
    EXPECT_FALSE(VTUserDefaults::value(QStringLiteral("auValSortedDescending")).toBool());
    EXPECT_EQ(VTUserDefaults::value(QStringLiteral("auValSortedColumn")).toString(), QStringLiteral("colManufacturer"));
    ASSERT_EQ(cleared.count(), 1);
    EXPECT_EQ(cleared.at(0).at(0).toString(), QStringLiteral("colTitle"));

    // A stored direction comes back with the stored column.
    model.didClickTableColumn(QStringLiteral("colManufacturer"));
    VTAUValTableModel again;
    again.updateAUValArray(model.units());
    again.applySorting();
    EXPECT_EQ(column(again, 1), texts({"Zed", "yak", "Xeno"}));

    model.sortColumnWithIdentifier(QStringLiteral("colNothing"), false);
    EXPECT_EQ(model.rowCount(), 0);
}

TEST(VTAUValidator, InspectorShowsTheWholeReportOfOneUnit)
{
    AUValSandbox sandbox;
    const VTAudioUnit unit(QStringLiteral("aufx"), QStringLiteral("dcmp"), QStringLiteral("appl"), QStringLiteral("Dyn"),
                           QStringLiteral("Apple"));
    const QString report = VTAUValidator::inspect(unit);
    EXPECT_TRUE(report.startsWith(QStringLiteral("VALIDATING AUDIO UNIT: 'aufx' - 'dcmp' - 'appl'\n")));
    EXPECT_TRUE(report.contains(QStringLiteral("Report of the stand-in validator for aufx dcmp appl")));
    EXPECT_TRUE(report.endsWith(QStringLiteral("\nResult: passed\n"))) << report.toStdString();
    EXPECT_EQ(VTAUValidator::inspectorTitle(unit), QStringLiteral("Dyn - Inspector"));
    EXPECT_TRUE(VTTest::logText().contains(QStringLiteral("Inspecting Dyn...")));
}
