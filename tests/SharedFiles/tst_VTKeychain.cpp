// Certificate names from the keychain folder of a sandbox home, with
// certificates made by openssl.

#include "VTKeychain.h"
#include "VTTestLog.h"
#include "VTTestProcess.h"
#include "VTTestSandbox.h"

#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

// A self-signed certificate for `commonName`, PEM-encoded.
QByteArray certificate(const QString &folder, const QString &commonName)
{
    const QString pem = folder + QStringLiteral("/made.pem");
    const VTTest::Run made = VTTest::run(
        QStringLiteral("openssl"),
        {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), QStringLiteral("ec"),
         QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
         QStringLiteral("-keyout"), folder + QStringLiteral("/made.key"), QStringLiteral("-out"), pem,
         QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"), QStringLiteral("/O=Test/CN=") + commonName});
    EXPECT_EQ(made.exitCode, 0) << made.err.toStdString();
    QFile file(pem);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray toDer(const QString &folder, const QByteArray &pem)
{
    const QString in = VTTestSandbox::createFile(folder + QStringLiteral("/in.pem"), pem);
    const VTTest::Run converted = VTTest::run(QStringLiteral("openssl"), {QStringLiteral("x509"), QStringLiteral("-in"), in,
                                                                         QStringLiteral("-outform"), QStringLiteral("DER")});
    EXPECT_EQ(converted.exitCode, 0) << converted.err.toStdString();
    return converted.out;
}

TEST(VTKeychain, CommonNamesOfEveryCertificateInSearchOrderAndNonCertificatesLogged)
{
    if (QStandardPaths::findExecutable(QStringLiteral("openssl")).isEmpty())
        GTEST_SKIP() << "openssl is needed to make the certificates (scripts/setup.sh installs it)";
    VTTestSandbox sandbox;
    VTLog::createNewLog(QStringLiteral("Tessary"));
    EXPECT_TRUE(VTKeychain::certificateNames().isEmpty()) << "no keychain folder: no names";

    const QString keychains = VTKeychain::keychainsDirectory();
    EXPECT_EQ(keychains, sandbox.homePath(QStringLiteral("Library/Keychains")));
    const QString work = sandbox.path();
    VTTestSandbox::createFile(keychains + QStringLiteral("/a-login.pem"),
                              certificate(work, QStringLiteral("Developer ID: Ann")) + certificate(work, QStringLiteral("Ann Test")));
    VTTestSandbox::createFile(keychains + QStringLiteral("/b-junk.keychain"), "not a certificate at all");
    VTTestSandbox::createFile(keychains + QStringLiteral("/c-system.cer"), toDer(work, certificate(work, QStringLiteral("Bo"))));
    VTTestSandbox::makeFolder(keychains + QStringLiteral("/metadata.db"));

    EXPECT_EQ(VTKeychain::certificateNames(),
              (QStringList{QStringLiteral("Developer ID: Ann"), QStringLiteral("Ann Test"), QStringLiteral("Bo")}));
    const QString text = VTTest::logText();
    EXPECT_EQ(text.count(QStringLiteral("Unable to create keychain certificate from data: ")), 1) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("b-junk.keychain"))) << text.toStdString();
}

} // namespace
