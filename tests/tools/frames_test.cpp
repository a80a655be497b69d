#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"
#include "tools/frames.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

const cv::Size kSize(64, 48);

// Frame `index` of a test clip: smooth gradients and a moving edge in colours the decoding does not
// clip, 10-bit samples, and two out-of-range luma samples for the clamps.
std::vector<uint16_t> ClipFrame(int index) {
    std::vector<uint16_t> s(Yuv420Samples(kSize));
    const int w = kSize.width, h = kSize.height;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            s[y * w + x] = static_cast<uint16_t>(160 + (x * 9 + y * 5 + index * 40) % 640 + (x > 20 + 4 * index ? 30 : 0));
        }
    }
    for (int y = 0; y < h / 2; ++y) {
        for (int x = 0; x < w / 2; ++x) {
            s[w * h + y * (w / 2) + x] = static_cast<uint16_t>(464 + 3 * x + index);
            s[w * h + (w / 2) * (h / 2) + y * (w / 2) + x] = static_cast<uint16_t>(560 - 4 * y);
        }
    }
    s[0] = 0;
    s[1] = 1023;
    return s;
}

std::string Bytes(const std::vector<uint16_t>& samples) {
    return alad_test::Le16(std::vector<int>(samples.begin(), samples.end()));
}

using alad_test::ReadFile;
using alad_test::WriteText;

alad_test::Captured Process(std::vector<std::string> args) {
    const alad_test::Captured run = alad_test::RunCommand(RunProcess, std::move(args));
    EXPECT_EQ(run.code, 0);
    return run;
}

class FramesTest : public alad_test::ScratchTest {
protected:
    // The clip as raw 10-bit YUV; returns its path.
    std::string WriteClip(int frames) const {
        std::string bytes;
        for (int i = 0; i < frames; ++i) bytes += Bytes(ClipFrame(i));
        return WriteText(Path("clip.yuv"), bytes);
    }
};

TEST_F(FramesTest, YuvDecodesAsTheHarnessReaderAndEncodesBackWithinACode) {
    const std::vector<uint16_t> samples = ClipFrame(1);
    WriteText(Path("one.yuv"), Bytes(samples));
    cv::Mat bgr10, harness12;
    alad_test::Capture([&] { yuv10BitLE2BGR(Path("one.yuv"), kSize.width, kSize.height, bgr10); });
    transform10To12(bgr10, harness12);
    const cv::Mat decoded = DecodeYuv420p10(samples.data(), kSize);
    EXPECT_EQ(cv::norm(decoded, harness12, cv::NORM_INF), 0.0);

    // Encoding gives back the luma within a code and the chroma within two, wherever nothing was
    // clamped by the decoding.
    std::vector<uint16_t> again(samples.size());
    EncodeYuv420p10(decoded, again.data());
    const int pixels = kSize.area();
    for (int i = 2; i < pixels; ++i) EXPECT_LE(std::abs(again[i] - samples[i]), 1) << "Y " << i;
    for (size_t i = pixels; i < samples.size(); ++i) {
        // The first chroma cell holds the two clamped pixels.
        if (i == static_cast<size_t>(pixels) || i == static_cast<size_t>(pixels + pixels / 4)) continue;
        EXPECT_LE(std::abs(again[i] - samples[i]), 2) << "chroma " << i;
    }
    // And grey stays grey: a flat picture makes U = V = 512.
    const cv::Mat grey(kSize, CV_32SC3, cv::Scalar::all(2000));
    EncodeYuv420p10(grey, again.data());
    EXPECT_EQ(again[pixels], 512);
    EXPECT_EQ(again.back(), 512);
}

// A 10-bit clip through `process` equals the engine run frame by frame through the library on the
// same 12-bit input, as raw YUV, as Y4M, and read from Y4M.
TEST_F(FramesTest, TenBitClipRoundTripsThroughProcessAsTheLibraryRunsIt) {
    const int frames = 3;
    const std::string clip = WriteClip(frames);
    std::string y4m = "YUV4MPEG2 W64 H48 F30:1 Ip A1:1 C420p10 XYSCSS=420P10\n";
    for (int i = 0; i < frames; ++i) y4m += "FRAME\n" + Bytes(ClipFrame(i));
    WriteText(Path("clip.y4m"), y4m);
    for (const int order : {3, 4}) {
        SCOPED_TRACE(order);
        const std::string o = std::to_string(order);
        Process({"--order", o, "--dst", "20000", "--yuv", "64x48", clip, Path("out.yuv")});
        Process({"--order", o, "--dst", "20000", "--yuv=64x48", clip, Path("out.y4m")});
        Process({"--order", o, "--dst", "20000", Path("clip.y4m"), Path("from_y4m.yuv")});

        const kelvo::ad_user_t_ user = kelvo::testing_util::SizedUser(kSize.width, kSize.height, order);
        std::string expected;
        alad_test::Capture([&] {
            ASSERT_EQ(kelvo::InitEngineALAD(user, {}, kelvo::alad_view_condition_{300.0f, 20000.0f}), 0);
            for (int i = 0; i < frames; ++i) {  // decoded as the harness reader reads it (the test above)
                cv::Mat out;
                ASSERT_EQ(kelvo::RunOneFrameALAD(DecodeYuv420p10(ClipFrame(i).data(), kSize), out), 0);
                std::vector<uint16_t> samples(Yuv420Samples(kSize));
                EncodeYuv420p10(out, samples.data());
                expected += Bytes(samples);
            }
        });
        const std::string raw = ReadFile(Path("out.yuv"));
        ASSERT_EQ(raw.size(), expected.size());
        EXPECT_TRUE(raw == expected);
        EXPECT_TRUE(ReadFile(Path("from_y4m.yuv")) == expected);
        const std::string payload = ReadFile(Path("out.y4m"));
        ASSERT_EQ(payload.rfind("YUV4MPEG2 W64 H48 F25:1 Ip A1:1 C420p10", 0), 0u) << payload.substr(0, 60);
        std::string framed;
        for (size_t at = 0, size = expected.size() / frames; at < expected.size(); at += size) {
            framed += "FRAME\n" + expected.substr(at, size);
        }
        EXPECT_TRUE(payload.substr(payload.find('\n') + 1) == framed);
    }
}

TEST_F(FramesTest, EightBitY4mIsReadOnTheTenBitScale) {
    std::string y4m = "YUV4MPEG2 W64 H48 F30000:1001 C420jpeg\n", raw;
    for (int i = 0; i < 2; ++i) {
        std::vector<uint16_t> samples = ClipFrame(i);
        y4m += "FRAME\n";
        for (uint16_t& v : samples) {
            y4m += static_cast<char>(v >> 2);
            v = static_cast<uint16_t>((v >> 2) << 2);
        }
        raw += Bytes(samples);
    }
    WriteText(Path("clip8.y4m"), y4m);
    WriteText(Path("clip.yuv"), raw);
    const alad_test::Captured run = Process({"--order", "4", "--json", Path("clip8.y4m"), Path("from8.y4m")});
    EXPECT_NE(run.out.find("\"input_kind\": \"Y4M 4:2:0 8-bit\""), std::string::npos) << run.out;
    Process({"--order", "4", "--yuv", "64x48", Path("clip.yuv"), Path("from10.y4m")});
    const std::string from8 = ReadFile(Path("from8.y4m"));
    EXPECT_EQ(from8.rfind("YUV4MPEG2 W64 H48 F30000:1001 ", 0), 0u) << from8.substr(0, 40);
    const std::string from10 = ReadFile(Path("from10.y4m"));
    EXPECT_TRUE(from8.substr(from8.find('\n')) == from10.substr(from10.find('\n')));
}

TEST_F(FramesTest, ATruncatedInputIsProcessedAsFarAsItGoesWithAWarning) {
    const std::string clip = WriteClip(3);
    WriteText(clip, ReadFile(clip) + std::string(1000, '\x02'));
    const alad_test::Captured run = Process({"--json", "--yuv", "64x48", clip, Path("out.yuv")});
    EXPECT_NE(run.err.find("warning: '" + clip + "' ends inside frame 3"), std::string::npos) << run.err;
    EXPECT_NE(run.out.find("\"frames\": 3"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\"warnings\": [\"'" + clip + "' ends inside frame 3"), std::string::npos) << run.out;
    EXPECT_EQ(ReadFile(Path("out.yuv")).size(), 3 * Yuv420Samples(kSize) * 2);
    // Not a terminal: no progress bar.
    EXPECT_EQ(run.err.find('\r'), std::string::npos);

    // A video whose header promises more frames than it holds.
    {
        cv::VideoWriter writer(Path("in.avi"), cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10.0, kSize);
        for (int i = 0; i < 4; ++i) writer.write(cv::Mat(kSize, CV_8UC3, cv::Scalar(10 * i, 60, 90)));
    }
    std::string avi = ReadFile(Path("in.avi"));
    const size_t movi = avi.find("movi");
    ASSERT_NE(movi, std::string::npos);
    const size_t second = avi.find("00dc", avi.find("00dc", movi) + 4);  // the second frame's chunk
    WriteText(Path("short.avi"), avi.substr(0, second));
    const alad_test::Captured cut = Process({"--dst", "20000", "--filter", Path("short.avi"), Path("short_out.avi")});
    EXPECT_NE(cut.err.find("' ended after 1 frames; its header says 4"), std::string::npos) << cut.err;
    cv::VideoCapture result(Path("short_out.avi"));
    int frames = 0;
    for (cv::Mat frame; result.read(frame); ++frames) EXPECT_EQ(frame.size(), kSize);
    EXPECT_EQ(frames, 1);
}

TEST_F(FramesTest, SequencesInAndOutKeepTheirDepthAndAVideoIsNotWrittenIntoOnePicture) {
    for (int i = 1; i <= 3; ++i) {
        WritePicture(Path(cv::format("f%03d.png", i)), cv::Mat(kSize, CV_16UC3, cv::Scalar(4000 * i, 20000, 50000)));
    }
    const alad_test::Captured run = Process({"--order", "4", Path("f%03d.png"), Path("o%03d.png")});
    EXPECT_NE(run.out.find("(64x48, 3 frames)"), std::string::npos) << run.out;
    for (const char* name : {"o001.png", "o002.png", "o003.png"}) {
        EXPECT_EQ(cv::imread(Path(name), cv::IMREAD_UNCHANGED).type(), CV_16UC3) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(Path("o004.png")));

    // FFV1 is lossless: the video's frames are the 8-bit sequence's.
    Process({"--order", "4", Path("f%03d.png"), Path("o8_%d.bmp")});
    Process({"--order", "4", Path("f%03d.png"), Path("out.mkv")});
    cv::VideoCapture video(Path("out.mkv"));
    ASSERT_TRUE(video.isOpened());
    int n = 0;
    for (cv::Mat frame; video.read(frame); ++n) {
        EXPECT_EQ(cv::norm(frame, cv::imread(Path("o8_" + std::to_string(n + 1) + ".bmp")), cv::NORM_INF), 0.0);
    }
    EXPECT_EQ(n, 3);

    const std::vector<std::vector<std::string>> mistakes = {
        {Path("f%03d.png"), Path("one.png")},
        {"--yuv", "63x48", Path("f001.png"), Path("x.yuv")},
        {Path("f001.png"), Path("x%s.png")},
        {Path("clip.yuv"), Path("x.png")},
        {"--side-by-side", Path("s.png"), Path("f%03d.png"), Path("x%d.png")},
    };
    for (const std::vector<std::string>& args : mistakes) {
        EXPECT_THROW(alad_test::RunCommand(RunProcess, args), UsageError) << args[0] << " " << args[1];
    }
    EXPECT_FALSE(std::filesystem::exists(Path("one.png")));
}

}  // namespace
}  // namespace alad_tool
