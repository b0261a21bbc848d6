// Replays the fuzz targets' seed corpora and every input a fuzzer once found (fuzz/corpus and
// fuzz/regressions) through the same target code, so that a reader fault that was fixed stays
// fixed. A broken round trip aborts inside the target; the file being replayed is printed first.
//
// Seed names say what the reader must do: valid-* is read, refused-* is refused, damaged-* only
// must not crash.

#include "VXFuzzRoundTrip.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtGlobal>

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using Target = int (*)(const std::uint8_t *, std::size_t);

QStringList filesIn(const QString &folder)
{
    QStringList paths;
    const QDir dir(QStringLiteral(WENDLE_FUZZ_DIR) + QLatin1Char('/') + folder);
    for (const QFileInfo &info : dir.entryInfoList(QDir::Files | QDir::Hidden, QDir::Name))
        paths.append(info.absoluteFilePath());
    return paths;
}

// Feeds one file to the target; answers whether its reader accepted it.
bool replay(Target target, const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    const QByteArray bytes = file.readAll();
    std::fprintf(stderr, "replaying %s\n", qPrintable(path));
    std::fflush(stderr);
    const std::size_t before = VXFuzzAcceptedInputs();
    target(reinterpret_cast<const std::uint8_t *>(bytes.constData()), static_cast<std::size_t>(bytes.size()));
    return VXFuzzAcceptedInputs() > before;
}

void replayReader(const QString &reader, Target target)
{
    const QStringList seeds = filesIn(QStringLiteral("corpus/") + reader);
    ASSERT_FALSE(seeds.isEmpty()) << "no seed corpus for " << qPrintable(reader);
    int valid = 0;
    int refused = 0;
    for (const QString &path : seeds) {
        const QString name = QFileInfo(path).fileName();
        const bool accepted = replay(target, path);
        if (name.startsWith(QLatin1String("valid-"))) {
            ++valid;
            EXPECT_TRUE(accepted) << "the reader refused a valid file: " << qPrintable(name);
        } else if (name.startsWith(QLatin1String("refused-"))) {
            ++refused;
            EXPECT_FALSE(accepted) << "the reader accepted a file it must refuse: " << qPrintable(name);
        }
    }
    EXPECT_GT(valid, 0) << "the corpus of " << qPrintable(reader) << " has no valid seed";
    EXPECT_GT(refused, 0) << "the corpus of " << qPrintable(reader) << " has no seed that must be refused";

    // Inputs that once crashed or hung a reader: replaying them is the test.
    for (const QString &path : filesIn(QStringLiteral("regressions/") + reader))
        replay(target, path);
}

class VXFuzzReplayTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        // Every refused seed would log a line; the expectations above say what matters.
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    }
    static void TearDownTestSuite() { qInstallMessageHandler(nullptr); }
};

TEST_F(VXFuzzReplayTest, BinaryReader) { replayReader(QStringLiteral("binary"), VXFuzzBinary); }
TEST_F(VXFuzzReplayTest, XMLReader) { replayReader(QStringLiteral("xml"), VXFuzzXML); }
TEST_F(VXFuzzReplayTest, OpenStepReader) { replayReader(QStringLiteral("openstep"), VXFuzzOpenStep); }

} // namespace
