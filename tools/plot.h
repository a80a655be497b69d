// Drawing for the tool's plots and labelled pictures, with Cairo: real fonts (DejaVu Sans), PNG or
// SVG (or JPEG, for photographs) chosen by the file's extension. In SVG the text stays text (<text> elements, searchable and
// selectable); everything else is drawn by Cairo.
#ifndef ALAD_TOOLS_PLOT_H
#define ALAD_TOOLS_PLOT_H

#include <string>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace alad_tool {

struct Colour {
    double r = 0, g = 0, b = 0, a = 1;
};
constexpr Colour kBlack{0, 0, 0, 1};
constexpr Colour kWhite{1, 1, 1, 1};
constexpr Colour kGrey{0.55, 0.55, 0.55, 1};
constexpr Colour kBlue{0.12, 0.38, 0.72, 1};
constexpr Colour kOrange{0.90, 0.45, 0.05, 1};
constexpr Colour kGreen{0.10, 0.55, 0.25, 1};
constexpr Colour kRed{0.80, 0.12, 0.15, 1};
// A colour from a perceptually even scale, dark blue (0) through green to yellow (1).
Colour ScaleColour(double t);

enum class Align { kLeft, kCentre, kRight };

struct TextStyle {
    double size = 14;  // pixels
    Align align = Align::kLeft;
    Colour colour = kBlack;
    bool bold = false;
    double angle = 0;  // degrees, counter-clockwise (90: reads upwards)
};

// A drawing surface of width x height pixels (points in SVG) on a white background.
class Canvas {
public:
    // Written to `path` by Save(): PNG for .png, SVG for .svg, JPEG for .jpg; anything else is a
    // UsageError.
    Canvas(const std::string& path, int width, int height);
    // In memory only (Picture() gives the drawing).
    Canvas(int width, int height, Colour background);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    cairo_t* Cairo() const { return cr_; }
    int Width() const { return width_; }
    int Height() const { return height_; }

    // Text with its baseline at y; x is its left end, centre or right end by the alignment (before
    // the rotation, which turns about (x, y)).
    void Text(double x, double y, const std::string& text, const TextStyle& style);
    double TextWidth(const std::string& text, double size, bool bold = false) const;
    // Height of capital letters above the baseline, for centring text on a point.
    double CapHeight(double size) const;
    // An 8-bit B, G, R (or grey) picture scaled into the rectangle (exact pixels at scale 1).
    void Picture(const cv::Mat& picture, const cv::Rect2d& where);
    // Filled and outlined rectangles, lines.
    void Fill(const cv::Rect2d& r, Colour c);
    void Outline(const cv::Rect2d& r, Colour c, double width);
    void Line(double x0, double y0, double x1, double y1, Colour c, double width, bool dashed = false);
    // The document's title (SVG <title>).
    void SetTitle(const std::string& title) { title_ = title; }

    // Writes the file; throws RunError naming it on failure.
    void Save();
    // The in-memory drawing as 8-bit B, G, R.
    cv::Mat Picture() const;

private:
    struct SvgText {
        double x, y;
        std::string text;
        TextStyle style;
    };
    void SelectFont(double size, bool bold) const;

    std::string path_;
    bool svg_ = false;
    int width_ = 0, height_ = 0;
    cairo_surface_t* surface_ = nullptr;
    cairo_t* cr_ = nullptr;
    std::vector<SvgText> svg_texts_;
    std::string title_;
};

// Throws UsageError unless the path ends in .png, .svg or .jpg: for checking before any work.
void CheckPlotPath(const std::string& path);

struct Axis {
    double lo = 0, hi = 1;
    std::string label;  // with its unit: "output luminance (cd/m²)"
    bool log = false;
};

// A chart in a rectangle of a canvas: the plotting area is `area`; ticks, numbers and axis labels
// go outside it (leave about 60 pixels to the left and 50 below).
class Chart {
public:
    Chart(Canvas& canvas, const cv::Rect2d& area, Axis x, Axis y);
    // Frame, light grid, ticks with numbers, axis labels, and a title above the area.
    void DrawAxes(const std::string& title = "", bool grid = true);
    double X(double v) const;
    double Y(double v) const;
    // A polyline through the points, clipped to the area.
    void Curve(const std::vector<double>& xs, const std::vector<double>& ys, Colour c, double width,
               bool dashed = false);
    // Entries of colour and name, in a box in the upper left (or lower right) corner of the area.
    void Legend(const std::vector<std::pair<std::string, Colour>>& entries, bool lower_right = false,
                const std::vector<bool>& dashed = {});
    const cv::Rect2d& Area() const { return area_; }

private:
    Canvas& canvas_;
    cv::Rect2d area_;
    Axis x_, y_;
};

// Tick positions for an axis: multiples of 1, 2 or 5 x 10^k, about `target` of them (log axes:
// powers of ten, with 2 and 5 times them when the range is short).
std::vector<double> Ticks(const Axis& axis, int target);
// A tick's number: "0.25", "1000", "20000".
std::string TickText(double value, double step);

// A band of labels over a row of pictures: each label centred over its picture's columns
// (widths[i] pixels, `gap` pixels apart), white on dark grey, 8-bit B, G, R.
cv::Mat LabelBand(const std::vector<std::string>& labels, const std::vector<int>& widths, int gap);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_PLOT_H
