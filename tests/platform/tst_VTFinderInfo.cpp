#include "VTFinderInfo.h"
#include "VTPath.h"
#include "VTTestSandbox.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/xattr.h>

namespace {

class VTFinderInfoTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        m_file = VTPath::join(m_dir.path(), QStringLiteral("Blur"));
        ASSERT_TRUE(VTTestSandbox::makeFile(m_file, "script"));
    }

    // Writes the raw attribute, as another program would have left it.
    void writeRaw(const QString &path, const QByteArray &bytes)
    {
        ASSERT_EQ(::setxattr(QFile::encodeName(path).constData(), VTFinderInfo::attributeName(), bytes.constData(),
                             static_cast<size_t>(bytes.size()), 0),
                  0);
    }

    QByteArray readRaw(const QString &path)
    {
        QByteArray bytes(256, '\0');
        const ssize_t length = ::getxattr(QFile::encodeName(path).constData(), VTFinderInfo::attributeName(),
                                          bytes.data(), static_cast<size_t>(bytes.size()));
        return length < 0 ? QByteArray() : bytes.left(static_cast<qsizetype>(length));
    }

    QTemporaryDir m_dir;
    QString m_file;
};

} // namespace

TEST_F(VTFinderInfoTest, SetCodeIsReadBackFillsTheWholeFinderInfoAndKeepsCreatorAndFlags)
{
    ASSERT_TRUE(VTFinderInfo::setTypeCode(m_file, QByteArrayLiteral("FCSC")));
    EXPECT_EQ(VTFinderInfo::typeCode(m_file), QByteArrayLiteral("FCSC"));
    const QByteArray raw = readRaw(m_file);
    ASSERT_EQ(raw.size(), VTFinderInfo::FinderInfoLength);
    EXPECT_EQ(raw.left(4), QByteArrayLiteral("FCSC"));
    EXPECT_EQ(raw.mid(4), QByteArray(VTFinderInfo::FinderInfoLength - 4, '\0'));
    // Read through a symbolic link, the code is the target's.
    const QString link = VTPath::join(m_dir.path(), QStringLiteral("link"));
    ASSERT_TRUE(QFile::link(m_file, link));
    EXPECT_EQ(VTFinderInfo::typeCode(link), QByteArrayLiteral("FCSC"));

    // Setting the code keeps the creator and the flags.
    QByteArray info(VTFinderInfo::FinderInfoLength, '\0');
    info.replace(0, 8, QByteArrayLiteral("TEXTKAHL"));
    info[8] = '\x40';
    writeRaw(m_file, info);

    ASSERT_TRUE(VTFinderInfo::setTypeCode(m_file, QByteArrayLiteral("FCSC")));
    const QByteArray kept = readRaw(m_file);
    EXPECT_EQ(kept.left(8), QByteArrayLiteral("FCSCKAHL"));
    EXPECT_EQ(kept.at(8), '\x40');
    EXPECT_EQ(kept.size(), VTFinderInfo::FinderInfoLength);
}

TEST_F(VTFinderInfoTest, WrongLengthsMissingAttributesAndMissingItems)
{
    EXPECT_TRUE(VTFinderInfo::typeCode(m_file).isEmpty()) << "no attribute at all";
    EXPECT_FALSE(VTFinderInfo::setTypeCode(m_file, QByteArrayLiteral("FCS")));
    EXPECT_FALSE(VTFinderInfo::setTypeCode(m_file, QByteArrayLiteral("FCSCX")));
    EXPECT_TRUE(readRaw(m_file).isEmpty()) << "a refused code must not be written";

    writeRaw(m_file, QByteArrayLiteral("FCS"));
    EXPECT_TRUE(VTFinderInfo::typeCode(m_file).isEmpty()) << "three bytes are no type code";

    writeRaw(m_file, QByteArrayLiteral("FCSC"));
    EXPECT_EQ(VTFinderInfo::typeCode(m_file), QByteArrayLiteral("FCSC"));

    QByteArray longer(48, 'x');
    longer.replace(0, 4, QByteArrayLiteral("TEXT"));
    writeRaw(m_file, longer);
    EXPECT_EQ(VTFinderInfo::typeCode(m_file), QByteArrayLiteral("TEXT"));

    // A short attribute is padded, not kept short, when a code is set on it.
    writeRaw(m_file, QByteArrayLiteral("ab"));
    ASSERT_TRUE(VTFinderInfo::setTypeCode(m_file, QByteArrayLiteral("FCSC")));
    EXPECT_EQ(readRaw(m_file).size(), VTFinderInfo::FinderInfoLength);

    const QString missing = VTPath::join(m_dir.path(), QStringLiteral("missing"));
    EXPECT_FALSE(VTFinderInfo::setTypeCode(missing, QByteArrayLiteral("FCSC")));
    EXPECT_TRUE(VTFinderInfo::typeCode(missing).isEmpty());
}
