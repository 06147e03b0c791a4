#pragma once

// Shared parts of the installation tests: a downloads folder outside every
// plug-in folder to install from, and makers for the files found there.

#include "OperationsTestSupport.h"

#include "VTFinderInfo.h"
#include "VTInstallOperation.h"
#include "VTTrash.h"

#include <QTemporaryDir>

namespace InstallTest {

using namespace VTSandboxKind;

class InstallTestBase : public OpsTest::OperationsTest
{
protected:
    explicit InstallTestBase(bool window = true) : OperationsTest(window) {}

    VTInstallOperation &installation() { return operations().installation(); }

    QString download(const QString &relative) const { return VTPath::join(m_downloads.path(), relative); }

    // A bundle in the downloads whose marker file tells it apart from
    // other copies of the same name.
    QString downloadBundle(const QString &relative, const QVariantMap &info = {},
                           const QByteArray &marker = QByteArrayLiteral("new"))
    {
        const QString path = download(relative);
        QVariantMap keys = info;
        keys.insert(QStringLiteral("CFBundleName"), VTPath::displayName(path));
        EXPECT_TRUE(VTTestSandbox::makeBundle(path, keys));
        EXPECT_TRUE(VTTestSandbox::makeFile(VTPath::join(path, QStringLiteral("Contents/Resources/marker")), marker));
        return path;
    }
    QString downloadFile(const QString &relative, const QByteArray &bytes = QByteArrayLiteral("script"))
    {
        const QString path = download(relative);
        EXPECT_TRUE(VTTestSandbox::makeFile(path, bytes));
        return path;
    }

    static QByteArray marker(const QString &bundle)
    {
        return VTTestSandbox::readFile(VTPath::join(bundle, QStringLiteral("Contents/Resources/marker")));
    }

    QStringList alerts() { return ui().steps(QStringLiteral("alert:")); }

    QTemporaryDir m_downloads;
};

} // namespace InstallTest
