#include "VTPath.h"

#include <gtest/gtest.h>

TEST(VTPath, JoinCollapsesDoubledSeparators)
{
    EXPECT_EQ(VTPath::join(QStringLiteral("/Library/Application Support"), QStringLiteral("/Final Cut Pro")),
              QStringLiteral("/Library/Application Support/Final Cut Pro"));
    EXPECT_EQ(VTPath::join(QStringLiteral("/Library/Application Support/"), QStringLiteral("Avid/AVX2_Plug-ins")),
              QStringLiteral("/Library/Application Support/Avid/AVX2_Plug-ins"));
    EXPECT_EQ(VTPath::join(QStringLiteral("/"), QStringLiteral("/Library")), QStringLiteral("/Library"));
    EXPECT_EQ(VTPath::join(QString(), QStringLiteral("/Library")), QStringLiteral("/Library"));
    EXPECT_EQ(VTPath::join(QStringLiteral("/a"), QString()), QStringLiteral("/a"));
    EXPECT_EQ(VTPath::join({QStringLiteral("/R/"), QStringLiteral("/Library/"), QStringLiteral("x")}),
              QStringLiteral("/R/Library/x"));
}

TEST(VTPath, MirrorKeepsTheWholeAbsolutePath)
{
    EXPECT_EQ(VTPath::mirror(QStringLiteral("/D"), QStringLiteral("/Users/ann/Library/Plug-Ins/FxPlug/Blur.fxplug")),
              QStringLiteral("/D/Users/ann/Library/Plug-Ins/FxPlug/Blur.fxplug"));
}

TEST(VTPath, ComponentsAndParents)
{
    EXPECT_EQ(VTPath::components(QStringLiteral("/a//b/")), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_EQ(VTPath::lastComponent(QStringLiteral("/a/b.fxplug/")), QStringLiteral("b.fxplug"));
    EXPECT_EQ(VTPath::removeLastComponent(QStringLiteral("/a/b")), QStringLiteral("/a"));
    EXPECT_EQ(VTPath::removeLastComponent(QStringLiteral("/a")), QStringLiteral("/"));
    EXPECT_EQ(VTPath::normalize(QStringLiteral("//a///b//")), QStringLiteral("/a/b"));
}

TEST(VTPath, ExtensionsAndNumbers)
{
    EXPECT_EQ(VTPath::extension(QStringLiteral("/x/Glow.FxPlug")), QStringLiteral("FxPlug"));
    EXPECT_EQ(VTPath::extension(QStringLiteral("/x/.hidden")), QString());
    EXPECT_EQ(VTPath::extension(QStringLiteral("/x.y/plain")), QString());
    EXPECT_EQ(VTPath::displayName(QStringLiteral("/x/Glow.fxplug")), QStringLiteral("Glow"));
    EXPECT_EQ(VTPath::displayName(QStringLiteral("/x/Version 2.0")), QStringLiteral("Version 2.0"));
    EXPECT_TRUE(VTPath::isNumeric(QStringLiteral("7.0")));
    EXPECT_TRUE(VTPath::isNumeric(QStringLiteral("12")));
    EXPECT_FALSE(VTPath::isNumeric(QStringLiteral("CS5")));
    EXPECT_FALSE(VTPath::isNumeric(QStringLiteral("nan")));
    EXPECT_FALSE(VTPath::isNumeric(QString()));
}

TEST(VTPath, InsideIsComponentWise)
{
    EXPECT_TRUE(VTPath::isInside(QStringLiteral("/Library/Plug-Ins/x"), QStringLiteral("/Library")));
    EXPECT_TRUE(VTPath::isInside(QStringLiteral("/Library"), QStringLiteral("/Library/")));
    EXPECT_FALSE(VTPath::isInside(QStringLiteral("/LibraryX/y"), QStringLiteral("/Library")));
}
