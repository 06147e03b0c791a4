#include <QCoreApplication>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// ctest counts a skipped gtest case as passed. This main makes a skip visible:
// without root a run with skips (and no failure) ends with kSkipExitCode, which
// the test's SKIP_RETURN_CODE turns into "Skipped"; as root every case can get
// what it needs (test account, sudo, mount namespace, immutable attribute), so
// a skip there is a failure that names its reason.
constexpr int kSkipExitCode = 77;

class SkipCollector : public ::testing::EmptyTestEventListener
{
public:
    void OnTestEnd(const ::testing::TestInfo &info) override
    {
        if (!info.result()->Skipped())
            return;
        std::string reason;
        for (int i = 0; i < info.result()->total_part_count(); ++i) {
            const auto &part = info.result()->GetTestPartResult(i);
            if (part.skipped() && part.message())
                reason = part.message();
        }
        skipped.push_back(std::string(info.test_suite_name()) + "." + info.name() + ": " + reason);
    }

    std::vector<std::string> skipped;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    auto *collector = new SkipCollector;
    ::testing::UnitTest::GetInstance()->listeners().Append(collector); // owned by gtest
    const int status = RUN_ALL_TESTS();
    if (status != 0 || collector->skipped.empty())
        return status;
    const bool root = geteuid() == 0;
    for (const std::string &line : collector->skipped)
        std::fprintf(stderr, "%s %s\n", root ? "[ REFUSED  ] skipped as root:" : "[ SKIPPED  ]", line.c_str());
    return root ? 1 : kSkipExitCode;
}
