#include "VTTestSandbox.h"
#include "VTException.h"
#include "VTLog.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vt_test {
struct MoveRefused : std::logic_error {
    using std::logic_error::logic_error;
};
} // namespace vt_test

TEST(VTException, DescribesTypeAndReasonOfWhateverWasCaught)
{
    try {
        throw std::runtime_error("disk full");
    } catch (const std::exception &e) {
        EXPECT_EQ(VTException::describe(e, "moveFilter:newStatus:"),
                  QStringLiteral("Exception in moveFilter:newStatus:. std::runtime_error - disk full."));
    }
    // The dynamic type is named, not the type of the catch clause.
    try {
        throw vt_test::MoveRefused("target exists");
    } catch (const std::exception &e) {
        EXPECT_EQ(VTException::describe(e, "movePlugin"),
                  QStringLiteral("Exception in movePlugin. vt_test::MoveRefused - target exists."));
    }
    // Whatever a catch-all caught.
    try {
        throw std::out_of_range("index 12");
    } catch (...) {
        EXPECT_EQ(VTException::describeCurrent("reloadData"),
                  QStringLiteral("Exception in reloadData. std::out_of_range - index 12."));
    }
    try {
        throw 42;
    } catch (...) {
        EXPECT_EQ(VTException::describeCurrent("scan"), QStringLiteral("Exception in scan. int - no description."));
    }
    try {
        throw QStringLiteral("text");
    } catch (...) {
        EXPECT_EQ(VTException::describeCurrent("scan"), QStringLiteral("Exception in scan. QString - no description."));
    }
}

TEST(VTException, ExceptionsReachTheLog)
{
    VTTestSandbox sandbox;
    VTLog::createNewLog(QStringLiteral("Exceptions"));
    try {
        throw std::invalid_argument("bad path");
    } catch (const std::exception &e) {
        VTException::logException(e, "installPlugins");
    }
    try {
        throw 7L;
    } catch (...) {
        VTException::logCurrentException("trashFile");
    }
    VTLog::finishWriting();
    const QByteArray log = VTTestSandbox::readFile(VTLog::currentLogPath());
    EXPECT_TRUE(log.contains(" - Exception in installPlugins. std::invalid_argument - bad path.\n")) << log.toStdString();
    EXPECT_TRUE(log.contains(" - Exception in trashFile. long - no description.\n")) << log.toStdString();
}
