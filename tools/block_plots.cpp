#include "tools/block_plots.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/debug_store.h"
#include "tools/plot.h"
#include "tools/tool_common.h"
#include "tools/viewing.h"

namespace alad_tool {

namespace {

// A block curve has 64 points: point s is the output for input luma 16 * (s + 1) (10-bit), in
// 1/64 of a code; luma 0 maps to 0. A histogram has 128 bins of 8 codes of the brightest channel.
constexpr int kCurvePoints = 64;
constexpr int kHistBins = 128;

int RoundedBlock(uint32_t size) { return size <= 64 ? 64 : size <= 128 ? 128 : 256; }

struct Layout {
    int block = 256;
    int columns = 0, rows = 0;
    double scale = 1;
    cv::Rect2d picture;  // where the picture goes on the canvas
    cv::Rect2d side;     // the chart of all blocks
    int width = 0, height = 0;
};

Layout MakeLayout(const BlockPlotInfo& info) {
    Layout l;
    l.block = RoundedBlock(info.settings->user.blk_width);
    l.columns = (info.picture.cols + l.block - 1) / l.block;
    l.rows = (info.picture.rows + l.block - 1) / l.block;
    // The picture as large as fits a 900-pixel square, at most twice its size.
    l.scale = std::min({900.0 / info.picture.cols, 900.0 / info.picture.rows, 2.0});
    const double pw = info.picture.cols * l.scale, ph = info.picture.rows * l.scale;
    l.picture = cv::Rect2d(50, 120, pw, ph);
    l.side = cv::Rect2d(l.picture.x + pw + 110, 150, 380, 380);
    l.width = static_cast<int>(l.side.x + l.side.width + 40);
    l.height = static_cast<int>(std::max(l.picture.y + ph + 50, l.side.y + l.side.height + 140));
    return l;
}

// The picture dimmed so that what is drawn over it stands out, the block grid, and the block
// numbers along the top and the left.
void DrawPictureAndGrid(Canvas& canvas, const BlockPlotInfo& info, const Layout& l) {
    cv::Mat dimmed;
    info.picture.convertTo(dimmed, CV_8U, 0.45);
    canvas.Picture(dimmed, l.picture);
    const Colour line{1, 1, 1, 0.55};
    const double cell = l.block * l.scale;
    for (int c = 0; c <= l.columns; ++c) {
        const double x = std::min(l.picture.x + c * cell, l.picture.x + l.picture.width);
        canvas.Line(x, l.picture.y, x, l.picture.y + l.picture.height, line, 1);
        if (c < l.columns) {
            canvas.Text(std::min(x + cell / 2, (x + l.picture.x + l.picture.width) / 2), l.picture.y - 8,
                        std::to_string(c), {11, Align::kCentre, kGrey});
        }
    }
    for (int r = 0; r <= l.rows; ++r) {
        const double y = std::min(l.picture.y + r * cell, l.picture.y + l.picture.height);
        canvas.Line(l.picture.x, y, l.picture.x + l.picture.width, y, line, 1);
        if (r < l.rows) {
            canvas.Text(l.picture.x - 8, std::min(y + cell / 2, (y + l.picture.y + l.picture.height) / 2) + 4,
                        std::to_string(r), {11, Align::kRight, kGrey});
        }
    }
    canvas.Text(l.picture.x, l.picture.y + l.picture.height + 24,
                "block columns along the top, rows on the left; blocks of " + std::to_string(l.block) + "x" +
                    std::to_string(l.block) + " pixels",
                {12, Align::kLeft, kGrey});
}

// A square in the middle of block (r, c)'s part of the picture, for its small chart (square, so
// that the curves of whole and edge blocks read alike).
cv::Rect2d CellOf(const Layout& l, int r, int c) {
    const double cell = l.block * l.scale;
    const double x0 = l.picture.x + c * cell, y0 = l.picture.y + r * cell;
    const double x1 = std::min(x0 + cell, l.picture.x + l.picture.width),
                 y1 = std::min(y0 + cell, l.picture.y + l.picture.height);
    const double side = std::max(1.0, 0.8 * std::min(x1 - x0, y1 - y0));
    return cv::Rect2d((x0 + x1 - side) / 2, (y0 + y1 - side) / 2, side, side);
}

void Titles(Canvas& canvas, const std::string& title, const BlockPlotInfo& info) {
    const EngineSettings& s = *info.settings;
    canvas.SetTitle(title);
    canvas.Text(30, 34, title, {19, Align::kLeft, kBlack, true});
    canvas.Text(30, 58,
                "order " + std::to_string(s.user.tm_mode) + " (" + OrderName(s.user.tm_mode) + "), strength " +
                    std::to_string(s.user.strength) + ", clip curve " + std::to_string(s.user.curve_id) +
                    (s.user.filter_flag ? ", detail filter on" : "") + "; " + LuxText(s.view.blackLevelSrc) +
                    " \u2192 " + LuxText(s.view.blackLevelDst) + " lux",
                {14, Align::kLeft, kGrey});
    canvas.Text(30, 78, "panel: " + PanelText(s.display), {14, Align::kLeft, kGrey});
}

std::vector<double> Copy(const kelvo::alad_debug_buffer_& buffer, size_t count) {
    std::vector<double> values(count);
    for (size_t i = 0; i < count; ++i) values[i] = buffer.data[i];
    return values;
}

std::vector<double> StoreValues(const kelvo::alad_debug_buffer_& buffer, const Layout& l, int per_block,
                                const char* what) {
    const size_t expected = static_cast<size_t>(l.columns) * l.rows * per_block;
    if (buffer.data == nullptr || static_cast<size_t>(buffer.length) != expected) {
        throw RunError(std::string("the engine kept no block ") + what + " for a " + std::to_string(l.columns) + "x" +
                       std::to_string(l.rows) + " block grid (the local stage runs in orders 1, 2 and 3)");
    }
    return Copy(buffer, expected);
}

}  // namespace

void PlotBlockCurves(const std::string& path, const BlockPlotInfo& info) {
    const Layout l = MakeLayout(info);
    const std::vector<double> curves =
        StoreValues(kelvo::alad_debug_output_::GetInstance()->GetTransitionCurveBuffer(), l, kCurvePoints, "curves");
    Canvas canvas(path, l.width, l.height);
    Titles(canvas, "CLTM block tone curves of the last frame of " + info.source, info);
    DrawPictureAndGrid(canvas, info, l);

    std::vector<double> in(kCurvePoints + 1), identity(kCurvePoints + 1);
    for (int s = 0; s <= kCurvePoints; ++s) in[s] = identity[s] = std::min(16.0 * s, 1023.0);
    const Colour curve_colour{1.0, 0.85, 0.2, 1};
    std::vector<double> mean(kCurvePoints + 1, 0.0);
    Chart all(canvas, l.side, {0, 1023, "input luma (10-bit code)"}, {0, 1023, "output luma (10-bit code)"});
    all.DrawAxes("All blocks (" + std::to_string(l.columns * l.rows) + ")");
    all.Curve(in, identity, kGrey, 1.5, true);
    for (int r = 0; r < l.rows; ++r) {
        for (int c = 0; c < l.columns; ++c) {
            const double* curve = curves.data() + (static_cast<size_t>(r) * l.columns + c) * kCurvePoints;
            std::vector<double> out(kCurvePoints + 1, 0.0);
            for (int s = 0; s < kCurvePoints; ++s) out[s + 1] = curve[s] / 64.0;
            for (int s = 0; s <= kCurvePoints; ++s) mean[s] += out[s] / (l.columns * l.rows);
            // The block's own small chart over its part of the picture.
            Chart cell(canvas, CellOf(l, r, c), {0, 1023, ""}, {0, 1023, ""});
            canvas.Outline(cell.Area(), Colour{1, 1, 1, 0.35}, 1);
            cell.Curve(in, identity, Colour{1, 1, 1, 0.6}, 1, true);
            cell.Curve(in, out, curve_colour, 1.8);
            all.Curve(in, out, Colour{kBlue.r, kBlue.g, kBlue.b, 0.35}, 1);
        }
    }
    all.Curve(in, mean, kOrange, 2.5);
    all.Legend({{"identity (no change)", kGrey}, {"one block's curve", kBlue}, {"mean of the blocks", kOrange}}, true,
               {true, false, false});
    const double note_y = l.side.y + l.side.height + 80;
    canvas.Text(l.side.x - 60, note_y, "Over the picture: each block's curve (yellow) and the identity",
                {12, Align::kLeft, kGrey});
    canvas.Text(l.side.x - 60, note_y + 18,
                "(dashed) in a box with the chart's axes. Curves before the strength blend;",
                {12, Align::kLeft, kGrey});
    canvas.Text(l.side.x - 60, note_y + 36,
                "pixels are mapped between the four nearest blocks' curves.", {12, Align::kLeft, kGrey});
    canvas.Save();
}

void PlotBlockHistograms(const std::string& path, const BlockPlotInfo& info) {
    const Layout l = MakeLayout(info);
    const std::vector<double> hist =
        StoreValues(kelvo::alad_debug_output_::GetInstance()->GetHistBuffer(), l, kHistBins, "histograms");
    Canvas canvas(path, l.width, l.height);
    Titles(canvas, "CLTM block histograms of the last frame of " + info.source, info);
    DrawPictureAndGrid(canvas, info, l);

    std::vector<double> total(kHistBins, 0.0);
    double samples = 0;
    const Colour bar_colour{0.45, 0.85, 1.0, 0.8};
    for (int r = 0; r < l.rows; ++r) {
        for (int c = 0; c < l.columns; ++c) {
            const double* h = hist.data() + (static_cast<size_t>(r) * l.columns + c) * kHistBins;
            const double peak = std::max(1.0, *std::max_element(h, h + kHistBins));
            const cv::Rect2d cell = CellOf(l, r, c);
            canvas.Outline(cell, Colour{1, 1, 1, 0.3}, 1);
            for (int b = 0; b < kHistBins; ++b) {
                total[b] += h[b];
                samples += h[b];
                if (h[b] <= 0) continue;
                const double height = cell.height * h[b] / peak;
                canvas.Fill(cv::Rect2d(cell.x + cell.width * b / kHistBins, cell.y + cell.height - height,
                                       cell.width / kHistBins + 0.3, height),
                            bar_colour);
            }
        }
    }
    double top = 0;
    for (double& t : total) {
        t = samples > 0 ? 100.0 * t / samples : 0.0;
        top = std::max(top, t);
    }
    Chart all(canvas, l.side, {0, 1024, "brightest channel (10-bit code)"},
              {0, std::max(1.0, std::ceil(top * 1.1)), "share of the frame's samples (%)"});
    all.DrawAxes("Whole frame (" + std::to_string(static_cast<long long>(samples)) + " samples)");
    for (int b = 0; b < kHistBins; ++b) {
        if (total[b] <= 0) continue;
        const double x0 = all.X(8.0 * b), x1 = all.X(8.0 * (b + 1)), y = all.Y(total[b]);
        canvas.Fill(cv::Rect2d(x0, y, x1 - x0, all.Y(0) - y), kBlue);
    }
    all.Legend({{"bins of 8 codes", kBlue}}, false);
    const double note_y = l.side.y + l.side.height + 80;
    canvas.Text(l.side.x - 60, note_y, "Over the picture: each block's histogram, 128 bins from black (left)",
                {12, Align::kLeft, kGrey});
    canvas.Text(l.side.x - 60, note_y + 18, "to white (right), scaled to the block's tallest bin. One sample per",
                {12, Align::kLeft, kGrey});
    canvas.Text(l.side.x - 60, note_y + 36, "2x2 pixels: the brightest channel of the first pixel of odd rows.",
                {12, Align::kLeft, kGrey});
    canvas.Save();
}

}  // namespace alad_tool
