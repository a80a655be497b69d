#include "tools/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <cairo-svg.h>
#include <cairo.h>
#include <fontconfig/fontconfig.h>

#include "tools/tool_common.h"

namespace alad_tool {

namespace {

constexpr const char* kFontFamily = "DejaVu Sans";
constexpr double kPi = 3.14159265358979323846;

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool IsJpeg(const std::string& path) {
    const std::string lower = Lower(path);
    return EndsWith(lower, ".jpg") || EndsWith(lower, ".jpeg");
}

std::string XmlEscaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string SvgColour(const Colour& c) {
    char text[64];
    std::snprintf(text, sizeof(text), "rgb(%d,%d,%d)", static_cast<int>(std::lround(255 * c.r)),
                  static_cast<int>(std::lround(255 * c.g)), static_cast<int>(std::lround(255 * c.b)));
    return text;
}

void SetColour(cairo_t* cr, const Colour& c) { cairo_set_source_rgba(cr, c.r, c.g, c.b, c.a); }

// Cairo and fontconfig keep the fonts they loaded until the process ends; handing them back at
// exit keeps a leak checker's report to the program's own memory.
void ReleaseFontsAtExit() {
    static const bool registered = [] {
        std::atexit([] {
            cairo_debug_reset_static_data();
            FcFini();
        });
        return true;
    }();
    (void)registered;
}

}  // namespace

Colour ScaleColour(double t) {
    // Control points of a blue-green-yellow scale that rises evenly in lightness.
    static const double kPoints[][3] = {{0.27, 0.00, 0.33}, {0.23, 0.32, 0.55}, {0.13, 0.57, 0.55},
                                        {0.37, 0.79, 0.38}, {0.99, 0.91, 0.14}};
    constexpr int kLast = 4;
    t = std::clamp(t, 0.0, 1.0) * kLast;
    const int i = std::min(static_cast<int>(t), kLast - 1);
    const double f = t - i;
    return Colour{kPoints[i][0] + f * (kPoints[i + 1][0] - kPoints[i][0]),
                  kPoints[i][1] + f * (kPoints[i + 1][1] - kPoints[i][1]),
                  kPoints[i][2] + f * (kPoints[i + 1][2] - kPoints[i][2]), 1.0};
}

void CheckPlotPath(const std::string& path) {
    const std::string lower = Lower(path);
    if (!EndsWith(lower, ".svg") && !EndsWith(lower, ".png") && !IsJpeg(path)) {
        throw UsageError("'" + path + "': a plot is written as .png, .svg or .jpg");
    }
}

Canvas::Canvas(const std::string& path, int width, int height) : path_(path), width_(width), height_(height) {
    CheckPlotPath(path);
    const std::string lower = Lower(path);
    if (EndsWith(lower, ".svg")) {
        svg_ = true;
        surface_ = cairo_svg_surface_create(path.c_str(), width, height);
        cairo_svg_surface_set_document_unit(surface_, CAIRO_SVG_UNIT_PX);
    } else {
        surface_ = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    }
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface_);
        throw RunError("cannot write '" + path + "'");
    }
    cr_ = cairo_create(surface_);
    Fill(cv::Rect2d(0, 0, width, height), kWhite);
}

Canvas::Canvas(int width, int height, Colour background) : width_(width), height_(height) {
    surface_ = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    cr_ = cairo_create(surface_);
    Fill(cv::Rect2d(0, 0, width, height), background);
}

Canvas::~Canvas() {
    cairo_destroy(cr_);
    cairo_surface_destroy(surface_);
}

void Canvas::SelectFont(double size, bool bold) const {
    ReleaseFontsAtExit();
    cairo_select_font_face(cr_, kFontFamily, CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr_, size);
}

double Canvas::TextWidth(const std::string& text, double size, bool bold) const {
    SelectFont(size, bold);
    cairo_text_extents_t extents;
    cairo_text_extents(cr_, text.c_str(), &extents);
    return extents.x_advance;
}

double Canvas::CapHeight(double size) const {
    SelectFont(size, false);
    cairo_text_extents_t extents;
    cairo_text_extents(cr_, "H", &extents);
    return -extents.y_bearing;
}

void Canvas::Text(double x, double y, const std::string& text, const TextStyle& style) {
    if (text.empty()) return;
    if (svg_) {
        svg_texts_.push_back({x, y, text, style});
        return;
    }
    const double width = TextWidth(text, style.size, style.bold);
    const double shift = style.align == Align::kLeft ? 0.0 : style.align == Align::kCentre ? -width / 2 : -width;
    cairo_save(cr_);
    cairo_translate(cr_, x, y);
    cairo_rotate(cr_, -style.angle * kPi / 180.0);
    SetColour(cr_, style.colour);
    cairo_move_to(cr_, shift, 0);
    cairo_show_text(cr_, text.c_str());
    cairo_restore(cr_);
}

void Canvas::Picture(const cv::Mat& picture, const cv::Rect2d& where) {
    if (picture.empty()) return;
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, picture.cols, picture.rows);
    unsigned char* data = cairo_image_surface_get_data(image);
    const int stride = cairo_image_surface_get_stride(image);
    cairo_surface_flush(image);
    for (int y = 0; y < picture.rows; ++y) {
        const uint8_t* in = picture.ptr<uint8_t>(y);
        uint32_t* out = reinterpret_cast<uint32_t*>(data + static_cast<size_t>(y) * stride);
        for (int x = 0; x < picture.cols; ++x) {
            // One native-endian 32-bit word per pixel, 0x00RRGGBB.
            const uint32_t b = picture.channels() == 1 ? in[x] : in[3 * x];
            const uint32_t g = picture.channels() == 1 ? in[x] : in[3 * x + 1];
            const uint32_t r = picture.channels() == 1 ? in[x] : in[3 * x + 2];
            out[x] = (r << 16) | (g << 8) | b;
        }
    }
    cairo_surface_mark_dirty(image);
    cairo_save(cr_);
    cairo_rectangle(cr_, where.x, where.y, where.width, where.height);
    cairo_clip(cr_);
    cairo_translate(cr_, where.x, where.y);
    const double sx = where.width / picture.cols, sy = where.height / picture.rows;
    cairo_scale(cr_, sx, sy);
    cairo_set_source_surface(cr_, image, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr_), sx < 1.0 || sy < 1.0 ? CAIRO_FILTER_GOOD : CAIRO_FILTER_NEAREST);
    cairo_paint(cr_);
    cairo_restore(cr_);
    cairo_surface_destroy(image);
}

void Canvas::Fill(const cv::Rect2d& r, Colour c) {
    SetColour(cr_, c);
    cairo_rectangle(cr_, r.x, r.y, r.width, r.height);
    cairo_fill(cr_);
}

void Canvas::Outline(const cv::Rect2d& r, Colour c, double width) {
    SetColour(cr_, c);
    cairo_set_line_width(cr_, width);
    cairo_rectangle(cr_, r.x, r.y, r.width, r.height);
    cairo_stroke(cr_);
}

void Canvas::Line(double x0, double y0, double x1, double y1, Colour c, double width, bool dashed) {
    cairo_save(cr_);
    SetColour(cr_, c);
    cairo_set_line_width(cr_, width);
    if (dashed) {
        const double dash[] = {6.0, 4.0};
        cairo_set_dash(cr_, dash, 2, 0);
    }
    cairo_move_to(cr_, x0, y0);
    cairo_line_to(cr_, x1, y1);
    cairo_stroke(cr_);
    cairo_restore(cr_);
}

void Canvas::Save() {
    if (path_.empty()) return;
    cairo_surface_flush(surface_);
    if (IsJpeg(path_)) {
        WritePicture(path_, Picture());
        return;
    }
    if (!svg_) {
        if (cairo_surface_write_to_png(surface_, path_.c_str()) != CAIRO_STATUS_SUCCESS) {
            throw RunError("cannot write '" + path_ + "'");
        }
        return;
    }
    cairo_surface_finish(surface_);
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS) throw RunError("cannot write '" + path_ + "'");
    // Cairo draws text as glyph outlines; the texts go in as <text> elements instead, after the
    // drawing (on top of it), and the title as the document's <title>.
    std::ifstream in(path_, std::ios::binary);
    std::stringstream whole;
    whole << in.rdbuf();
    std::string svg = whole.str();
    const size_t open_end = svg.find('>', svg.find("<svg"));
    const size_t close = svg.rfind("</svg>");
    if (open_end == std::string::npos || close == std::string::npos || close < open_end) {
        throw RunError("cannot write '" + path_ + "'");
    }
    std::ostringstream texts;
    texts << "<g font-family=\"" << kFontFamily << ", sans-serif\">\n";
    for (const SvgText& t : svg_texts_) {
        const char* anchor = t.style.align == Align::kLeft ? "start" : t.style.align == Align::kCentre ? "middle" : "end";
        texts << "<text x=\"" << t.x << "\" y=\"" << t.y << "\" font-size=\"" << t.style.size << "\" fill=\""
              << SvgColour(t.style.colour) << "\"";
        if (t.style.colour.a < 1.0) texts << " fill-opacity=\"" << t.style.colour.a << "\"";
        if (t.style.bold) texts << " font-weight=\"bold\"";
        texts << " text-anchor=\"" << anchor << "\"";
        if (t.style.angle != 0.0) texts << " transform=\"rotate(" << -t.style.angle << " " << t.x << " " << t.y << ")\"";
        texts << ">" << XmlEscaped(t.text) << "</text>\n";
    }
    texts << "</g>\n";
    svg.insert(close, texts.str());
    if (!title_.empty()) svg.insert(open_end + 1, "\n<title>" + XmlEscaped(title_) + "</title>");
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    out << svg;
    if (!out.flush()) throw RunError("cannot write '" + path_ + "'");
}

cv::Mat Canvas::Picture() const {
    cairo_surface_flush(surface_);
    const unsigned char* data = cairo_image_surface_get_data(surface_);
    const int stride = cairo_image_surface_get_stride(surface_);
    cv::Mat picture(height_, width_, CV_8UC3);
    for (int y = 0; y < height_; ++y) {
        const uint32_t* in = reinterpret_cast<const uint32_t*>(data + static_cast<size_t>(y) * stride);
        uint8_t* out = picture.ptr<uint8_t>(y);
        for (int x = 0; x < width_; ++x) {
            out[3 * x] = static_cast<uint8_t>(in[x] & 0xff);
            out[3 * x + 1] = static_cast<uint8_t>((in[x] >> 8) & 0xff);
            out[3 * x + 2] = static_cast<uint8_t>((in[x] >> 16) & 0xff);
        }
    }
    return picture;
}

// ---- charts ----

std::vector<double> Ticks(const Axis& axis, int target) {
    std::vector<double> ticks;
    if (!(axis.hi > axis.lo)) return ticks;
    if (axis.log) {
        const int first = static_cast<int>(std::floor(std::log10(axis.lo))),
                  last = static_cast<int>(std::ceil(std::log10(axis.hi)));
        const bool fine = last - first <= 3;
        for (int k = first; k <= last; ++k) {
            for (const double m : {1.0, 2.0, 5.0}) {
                if (m != 1.0 && !fine) continue;
                const double v = m * std::pow(10.0, k);
                if (v >= axis.lo * (1 - 1e-9) && v <= axis.hi * (1 + 1e-9)) ticks.push_back(v);
            }
        }
        return ticks;
    }
    const double raw = (axis.hi - axis.lo) / std::max(1, target);
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    // The round step whose count of ticks comes closest to the target.
    double step = magnitude;
    for (const double m : {1.0, 2.0, 2.5, 5.0, 10.0}) {
        if (std::fabs(std::log(m * magnitude / raw)) < std::fabs(std::log(step / raw))) step = m * magnitude;
    }
    const double first = std::ceil(axis.lo / step - 1e-9) * step;
    for (double v = first; v <= axis.hi + step * 1e-9; v += step) ticks.push_back(std::fabs(v) < step * 1e-9 ? 0.0 : v);
    return ticks;
}

std::string TickText(double value, double step) {
    int decimals = 0;
    if (step > 0.0) {
        decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
        const double scaled = step * std::pow(10.0, decimals);
        if (std::fabs(scaled - std::round(scaled)) > 1e-6) ++decimals;  // 0.25
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

Chart::Chart(Canvas& canvas, const cv::Rect2d& area, Axis x, Axis y)
    : canvas_(canvas), area_(area), x_(std::move(x)), y_(std::move(y)) {}

double Chart::X(double v) const {
    const double t = x_.log ? (std::log10(v) - std::log10(x_.lo)) / (std::log10(x_.hi) - std::log10(x_.lo))
                            : (v - x_.lo) / (x_.hi - x_.lo);
    return area_.x + t * area_.width;
}

double Chart::Y(double v) const {
    const double t = y_.log ? (std::log10(v) - std::log10(y_.lo)) / (std::log10(y_.hi) - std::log10(y_.lo))
                            : (v - y_.lo) / (y_.hi - y_.lo);
    return area_.y + area_.height - t * area_.height;
}

void Chart::DrawAxes(const std::string& title, bool grid) {
    const Colour grid_colour{0.88, 0.88, 0.88, 1};
    const double number_size = 12, label_size = 14;
    const std::vector<double> xt = Ticks(x_, std::max(3, static_cast<int>(area_.width / 90)));
    const std::vector<double> yt = Ticks(y_, std::max(3, static_cast<int>(area_.height / 60)));
    auto step_of = [](const Axis& a, const std::vector<double>& t) {
        return a.log ? 0.0 : (t.size() > 1 ? t[1] - t[0] : 1.0);
    };
    auto text_of = [](double v, double step) {
        if (step == 0.0) {
            char text[32];
            std::snprintf(text, sizeof(text), "%g", v);
            return std::string(text);
        }
        return TickText(v, step);
    };
    double widest = 0;
    for (const double v : xt) {
        const double px = X(v);
        if (grid) canvas_.Line(px, area_.y, px, area_.y + area_.height, grid_colour, 1);
        canvas_.Line(px, area_.y + area_.height, px, area_.y + area_.height + 5, kBlack, 1);
        canvas_.Text(px, area_.y + area_.height + 8 + canvas_.CapHeight(number_size), text_of(v, step_of(x_, xt)),
                     {number_size, Align::kCentre});
    }
    for (const double v : yt) {
        const double py = Y(v);
        if (grid) canvas_.Line(area_.x, py, area_.x + area_.width, py, grid_colour, 1);
        canvas_.Line(area_.x - 5, py, area_.x, py, kBlack, 1);
        const std::string text = text_of(v, step_of(y_, yt));
        widest = std::max(widest, canvas_.TextWidth(text, number_size));
        canvas_.Text(area_.x - 8, py + canvas_.CapHeight(number_size) / 2, text, {number_size, Align::kRight});
    }
    canvas_.Outline(area_, kBlack, 1);
    canvas_.Text(area_.x + area_.width / 2, area_.y + area_.height + 16 + 2 * canvas_.CapHeight(number_size) + 12,
                 x_.label, {label_size, Align::kCentre});
    TextStyle y_label{label_size, Align::kCentre};
    y_label.angle = 90;
    canvas_.Text(area_.x - 14 - widest - 6, area_.y + area_.height / 2, y_.label, y_label);
    if (!title.empty()) canvas_.Text(area_.x, area_.y - 10, title, {15, Align::kLeft, kBlack, true});
}

void Chart::Curve(const std::vector<double>& xs, const std::vector<double>& ys, Colour c, double width, bool dashed) {
    cairo_t* cr = canvas_.Cairo();
    cairo_save(cr);
    cairo_rectangle(cr, area_.x, area_.y, area_.width, area_.height);
    cairo_clip(cr);
    SetColour(cr, c);
    cairo_set_line_width(cr, width);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    if (dashed) {
        const double dash[] = {6.0, 4.0};
        cairo_set_dash(cr, dash, 2, 0);
    }
    bool started = false;
    for (size_t i = 0; i < xs.size() && i < ys.size(); ++i) {
        if (!std::isfinite(xs[i]) || !std::isfinite(ys[i]) || ((x_.log && xs[i] <= 0) || (y_.log && ys[i] <= 0))) {
            continue;
        }
        if (started) {
            cairo_line_to(cr, X(xs[i]), Y(ys[i]));
        } else {
            cairo_move_to(cr, X(xs[i]), Y(ys[i]));
            started = true;
        }
    }
    cairo_stroke(cr);
    cairo_restore(cr);
}

void Chart::Legend(const std::vector<std::pair<std::string, Colour>>& entries, bool lower_right,
                   const std::vector<bool>& dashed) {
    const double size = 13, row = 20, sample = 26, pad = 8;
    double widest = 0;
    for (const auto& e : entries) widest = std::max(widest, canvas_.TextWidth(e.first, size));
    const double w = pad + sample + 6 + widest + pad, h = pad + row * entries.size() + pad - 4;
    const double x = lower_right ? area_.x + area_.width - w - 10 : area_.x + 10;
    const double y = lower_right ? area_.y + area_.height - h - 10 : area_.y + 10;
    canvas_.Fill(cv::Rect2d(x, y, w, h), Colour{1, 1, 1, 0.9});
    canvas_.Outline(cv::Rect2d(x, y, w, h), Colour{0.7, 0.7, 0.7, 1}, 1);
    for (size_t i = 0; i < entries.size(); ++i) {
        const double cy = y + pad + row * i + row / 2 - 2;
        canvas_.Line(x + pad, cy, x + pad + sample, cy, entries[i].second, 2.5, i < dashed.size() && dashed[i]);
        canvas_.Text(x + pad + sample + 6, cy + canvas_.CapHeight(size) / 2, entries[i].first, {size});
    }
}

cv::Mat LabelBand(const std::vector<std::string>& labels, const std::vector<int>& widths, int gap) {
    int total = 0;
    for (size_t i = 0; i < widths.size(); ++i) total += widths[i] + (i ? gap : 0);
    const int height = 30;
    Canvas band(std::max(total, 1), height, Colour{0.16, 0.16, 0.16, 1});
    int left = 0;
    for (size_t i = 0; i < labels.size() && i < widths.size(); ++i) {
        double size = 15;
        while (size > 8 && band.TextWidth(labels[i], size) > widths[i] - 8) size -= 0.5;
        band.Text(left + widths[i] / 2.0, height / 2.0 + band.CapHeight(size) / 2, labels[i],
                  {size, Align::kCentre, kWhite});
        left += widths[i] + gap;
    }
    return band.Picture();
}

}  // namespace alad_tool
