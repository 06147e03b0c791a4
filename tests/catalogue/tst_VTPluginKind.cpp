#include "VTPluginKind.h"

#include <QSet>

#include <gtest/gtest.h>

#include <limits>

TEST(VTPluginKind, CodesNamesAndUserFoldersAreFixedAndOtherCodesAreUnknown)
{
    // Archived items store the codes; a renumbering would misread them.
    const std::pair<qint64, const char *> table[] = {
        {0, "FxPlug"},    {1, "FxScript"}, {2, "Audio Unit"},      {3, "Avid AVX"},      {4, "Adobe Plugin"},
        {5, "Avid AVX2"}, {6, "Avid RTAS"}, {7, "VST"}, {8, "Motion Template"}, {9, "OpenFX Plugin"},
    };
    for (const auto &[code, name] : table)
        EXPECT_EQ(VTPluginKind::typeName(code), QLatin1String(name)) << code;
    EXPECT_EQ(VTPluginKind::AdobePlugin, 4);
    EXPECT_EQ(VTPluginKind::AvidAVX2, 5);
    for (qint64 code : {qint64(-1), qint64(10), qint64(42), std::numeric_limits<qint64>::min(),
                        std::numeric_limits<qint64>::max()})
        EXPECT_EQ(VTPluginKind::typeName(code), QStringLiteral("Unknown")) << code;

    // Avid, Adobe and OpenFX plug-ins have an all-users folder only.
    const QSet<qint64> withUserFolder{0, 1, 2, 7, 8};
    for (qint64 kind = -1; kind <= 10; ++kind)
        EXPECT_EQ(VTPluginKind::hasCurrentUserFolder(kind), withUserFolder.contains(kind)) << kind;
}
