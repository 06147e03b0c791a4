#pragma once

#include "VTBundleInfoReader.h"
#include "VTLocalPaths.h"
#include "VTPath.h"
#include "VTPluginFolders.h"
#include "VTPropertyList.h"
#include "VTTestSandbox.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

// The shared sandbox with the folder table the records use rebuilt for it.
// Tests that derive paths or read bundles start from here.
class RecordSandbox : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sandbox.isValid());
        VTPluginFolders::setShared(std::make_shared<const VTPluginFolders>(VTPluginFolders::build()));
    }

    void TearDown() override
    {
        // Reads still queued would look into the sandbox after it is gone.
        VTBundleInfoReader::shared().waitForAll();
        VTPluginFolders::setShared(nullptr);
    }

    [[nodiscard]] static QString systemRoot() { return VTLocalPaths::systemRoot(); }
    [[nodiscard]] static QString home() { return VTLocalPaths::userDirectory(); }
    [[nodiscard]] static QString disabledRoot()
    {
        return VTPath::join(systemRoot(), QStringLiteral("Library/Application Support/Vantorel/Hearthkit/Tessary Disabled Plugins"));
    }

    static void writeFile(const QString &path, const QByteArray &bytes)
    {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    // A bundle folder with an Info.plist and, when given, an executable named
    // after the bundle.
    static void writeBundle(const QString &path, const QVariantMap &info, const QByteArray &executable = QByteArray())
    {
        QVariantMap values = info;
        const QString name = VTPath::removeExtension(VTPath::lastComponent(path));
        if (!executable.isNull())
            values.insert(QStringLiteral("CFBundleExecutable"), name);
        writeFile(VTPath::join(path, QStringLiteral("Contents/Info.plist")),
                  VTPropertyList::toData(values, VTPropertyList::Format::Xml));
        if (!executable.isNull())
            writeFile(VTPath::join({path, QStringLiteral("Contents/MacOS"), name}), executable);
    }

    // A universal header (big-endian fat) with one slice per CPU type, each
    // slice a thin little-endian header.
    static QByteArray universalBinary(const QList<qint32> &cpuTypes)
    {
        QByteArray bytes;
        const auto be32 = [&bytes](quint32 v) {
            for (int shift = 24; shift >= 0; shift -= 8)
                bytes.append(char((v >> shift) & 0xFF));
        };
        be32(0xCAFEBABE);
        be32(quint32(cpuTypes.size()));
        for (int i = 0; i < cpuTypes.size(); ++i) {
            be32(quint32(cpuTypes[i]));
            be32(3);
            be32(quint32(0x1000 * (i + 1)));
            be32(0x1000);
            be32(12);
        }
        bytes.append(QByteArray(0x1000 * (cpuTypes.size() + 1) - bytes.size(), '\0'));
        return bytes;
    }

    VTTestSandbox m_sandbox;
};
