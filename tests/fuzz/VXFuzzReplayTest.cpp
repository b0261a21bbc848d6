// Replays the fuzz targets' seed corpora and every input a fuzzer once found (fuzz/corpus and
// fuzz/regressions) through the same target code, so that a reader fault that was fixed stays
// fixed. Each file runs in a child process: a broken promise aborts there and fails that file.
//
// Seed names say what the reader must do: valid-* is read, refused-* is refused, damaged-* only
// must not crash.

#include "VXFuzzTargets.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtGlobal>

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/wait.h>

namespace {

QStringList filesIn(const QString &folder)
{
    QStringList paths;
    const QDir dir(QStringLiteral(WENDLE_FUZZ_DIR) + QLatin1Char('/') + folder);
    for (const QFileInfo &info : dir.entryInfoList(QDir::Files | QDir::Hidden, QDir::Name))
        paths.append(info.absoluteFilePath());
    return paths;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    return file.readAll();
}

// Feeds one file to the target in a child process, so that an input that breaks a promise (the
// target aborts) fails this file alone, with the target's message, and the replay goes on.
// The child's exit code says whether the reader accepted the input; the codes are apart from
// those of a crash, an exception and the sanitizers' reports (which exit with 1).
enum class Expect { Accepted, Refused, Either };
constexpr int kAcceptedCode = 40;
constexpr int kRefusedCode = 41;

void replay(VXFuzzTarget target, const QString &path, Expect expect)
{
    const QByteArray bytes = contents(path);
    const auto *data = reinterpret_cast<const std::uint8_t *>(bytes.constData());
    const auto size = static_cast<std::size_t>(bytes.size());
    const auto exitedWith = [expect](int status) {
        if (!WIFEXITED(status))
            return false;
        const int code = WEXITSTATUS(status);
        return expect == Expect::Accepted ? code == kAcceptedCode
            : expect == Expect::Refused   ? code == kRefusedCode
                                          : code == kAcceptedCode || code == kRefusedCode;
    };
    EXPECT_EXIT(
        {
            const std::size_t before = VXFuzzAcceptedInputs();
            target(data, size);
            std::_Exit(VXFuzzAcceptedInputs() > before ? kAcceptedCode : kRefusedCode);
        },
        exitedWith, "")
        << qPrintable(path)
        << (expect == Expect::Accepted      ? ": must be read"
                : expect == Expect::Refused ? ": must be refused"
                                            : ": must not crash");
}

void replayTarget(const QString &name, VXFuzzTarget target)
{
    const QStringList seeds = filesIn(QStringLiteral("corpus/") + name);
    ASSERT_FALSE(seeds.isEmpty()) << "no seed corpus for " << qPrintable(name);
    int valid = 0;
    int refused = 0;
    for (const QString &path : seeds) {
        const QString file = QFileInfo(path).fileName();
        Expect expect = Expect::Either;
        if (file.startsWith(QLatin1String("valid-"))) {
            expect = Expect::Accepted;
            ++valid;
        } else if (file.startsWith(QLatin1String("refused-"))) {
            expect = Expect::Refused;
            ++refused;
        }
        replay(target, path, expect);
    }
    EXPECT_GT(valid, 0) << "the corpus of " << qPrintable(name) << " has no valid seed";
    EXPECT_GT(refused, 0) << "the corpus of " << qPrintable(name) << " has no seed that must be refused";

    // Inputs that once crashed or hung a reader, or broke a promise: replaying them is the test.
    for (const QString &path : filesIn(QStringLiteral("regressions/") + name))
        replay(target, path, Expect::Either);
}

struct Target {
    const char *name;   // the folder of its corpus and regressions
    VXFuzzTarget function;
};

void PrintTo(const Target &target, std::ostream *out)
{
    *out << target.name;
}

class VXFuzzReplayTest : public ::testing::TestWithParam<Target>
{
protected:
    static void SetUpTestSuite()
    {
        // Every refused seed would log a line; the expectations above say what matters.
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    }
    static void TearDownTestSuite() { qInstallMessageHandler(nullptr); }
};

TEST_P(VXFuzzReplayTest, SeedsAndRegressions)
{
    replayTarget(QString::fromLatin1(GetParam().name), GetParam().function);
}

INSTANTIATE_TEST_SUITE_P(Targets, VXFuzzReplayTest,
                         ::testing::Values(Target {"binary", VXFuzzBinary}, Target {"xml", VXFuzzXML},
                                           Target {"openstep", VXFuzzOpenStep}, Target {"csv", VXFuzzCSV},
                                           Target {"desktop_entry", VXFuzzDesktopEntry},
                                           Target {"scenario", VXFuzzScenario}, Target {"when", VXFuzzWhen},
                                           Target {"defaults", VXFuzzDefaults},
                                           Target {"instance_request", VXFuzzInstanceRequest}),
                         [](const ::testing::TestParamInfo<Target> &target) { return std::string(target.param.name); });

}   // namespace
