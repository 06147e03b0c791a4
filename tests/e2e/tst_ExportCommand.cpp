// "-export json" and "-export csv" read back by Python's own json and csv
// modules, on the demo system plus a name that needs quoting everywhere.

#include "E2ESystem.h"

#include "VTSandboxLayout.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace Kind = VTSandboxKind;

namespace {

// Both exports as JSON, as Python reads them: {"json": [...], "csv": [...]},
// CSV rows as objects keyed by the header row.
QJsonObject readBack(const QByteArray &json, const QByteArray &csv)
{
    static const char *script = R"(
import csv, io, json, sys
parts = sys.stdin.buffer.read().split(b"\0")
rows = list(csv.DictReader(io.StringIO(parts[1].decode("utf-8"), newline="")))
print(json.dumps({"json": json.loads(parts[0]), "csv": rows}))
)";
    VTTest::RunOptions options;
    options.input = json + '\0' + csv;
    const VTTest::Run python = VTTest::run(VTTest::python(), {QStringLiteral("-c"), QString::fromLatin1(script)}, options);
    EXPECT_EQ(python.exitCode, 0) << python.err.toStdString();
    return QJsonDocument::fromJson(python.out).object();
}

TEST(ExportCommand, JsonAndCsvCarryEveryRecordWithProperEscaping)
{
    E2ESystem system(E2ESystem::Runner::CurrentUser);
    system.builder().demo();
    VTBundleOptions awkward;
    awkward.displayName = QStringLiteral("Blur, \"Soft\"\nand <b>wide</b>");
    awkward.version = QStringLiteral("3.1");
    system.builder().addBundle(Kind::FxPlug, Kind::AllUsers, QStringLiteral("Awkward"), awkward);
    ASSERT_EQ(system.finishBuilding(), "");

    const E2ESystem::Run json = system.run({QStringLiteral("-export"), QStringLiteral("json")});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    const E2ESystem::Run csv = system.run({QStringLiteral("-export"), QStringLiteral("csv")});
    ASSERT_EQ(csv.exitCode, 0) << csv.err.toStdString();
    EXPECT_TRUE(csv.out.startsWith("name,kind,version,enabled,access,architectures,path,group\r\n"));

    const QJsonObject read = readBack(json.out, csv.out);
    const QJsonArray fromJson = read.value(QStringLiteral("json")).toArray();
    const QJsonArray fromCsv = read.value(QStringLiteral("csv")).toArray();
    ASSERT_GT(fromJson.size(), 20);
    ASSERT_EQ(fromCsv.size(), fromJson.size());

    int awkwardRecords = 0;
    for (qsizetype i = 0; i < fromJson.size(); ++i) {
        const QJsonObject record = fromJson.at(i).toObject();
        const QJsonObject row = fromCsv.at(i).toObject();
        // The same records in the same order, field by field.
        for (const char *key : {"name", "kind", "version", "access", "path", "group"})
            EXPECT_EQ(row.value(QLatin1String(key)).toString(), record.value(QLatin1String(key)).toString()) << key;
        EXPECT_EQ(row.value(QStringLiteral("enabled")).toString() == QLatin1String("true"),
                  record.value(QStringLiteral("enabled")).toBool());
        QStringList architectures;
        for (const QJsonValue &value : record.value(QStringLiteral("architectures")).toArray())
            architectures.append(value.toString());
        EXPECT_EQ(row.value(QStringLiteral("architectures")).toString(), architectures.join(QLatin1String("; ")));

        if (record.value(QStringLiteral("name")).toString() != awkward.displayName)
            continue;
        ++awkwardRecords;
        EXPECT_EQ(record.value(QStringLiteral("kind")).toString(), QStringLiteral("FxPlug"));
        EXPECT_EQ(record.value(QStringLiteral("version")).toString(), QStringLiteral("3.1"));
        EXPECT_TRUE(record.value(QStringLiteral("enabled")).toBool());
        EXPECT_EQ(record.value(QStringLiteral("access")).toString(), QStringLiteral("all users"));
        EXPECT_TRUE(record.value(QStringLiteral("path")).toString().endsWith(QStringLiteral("/Awkward.fxplug")));
        EXPECT_EQ(record.value(QStringLiteral("architectures")).toArray().size(), 1);
    }
    EXPECT_EQ(awkwardRecords, 1);

    // An unknown format writes nothing.
    const E2ESystem::Run xml = system.run({QStringLiteral("-export"), QStringLiteral("xml")});
    EXPECT_EQ(xml.exitCode, 1);
    EXPECT_TRUE(xml.out.isEmpty());
}

} // namespace
