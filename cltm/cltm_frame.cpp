#include "cltm/cltm_frame.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <vector>

#include "cltm/cltm_curve.h"
#include "cltm/cltm_internal.h"
#include "cltm/cltm_map.h"
#include "cltm/cltm_rows.h"
#include "common/log.h"
#include "common/threads.h"

namespace kelvo {

// One strength ramp step: hold for strength_interval frames, then move by strength_step towards
// the target, landing on it when it is that close.
uint32_t cltm_detail::RampStrength(ad_cxt_t& ctx, const ad_param_t_& param) {
    const uint32_t target = param.strength_target;
    uint32_t current = ctx.strength;
    if (current == target) {
        ctx.interval_count = 0;
    } else if (ctx.interval_count < param.strength_interval) {
        ++ctx.interval_count;
    } else {
        ctx.interval_count = 0;
        const uint32_t distance = current > target ? current - target : target - current;
        if (distance <= param.strength_step) {
            current = target;
        } else if (current > target) {
            current -= param.strength_step;
        } else {
            current += param.strength_step;
        }
    }
    return current;
}

// The context binds to the first size it sees and is never re-bound; a new size needs a reset.
bool cltm_detail::BindVideoSize(ad_cxt_t& ctx, uint32_t width, uint32_t height) {
    if (ctx.width != 0 && ctx.height != 0 && ctx.width != width) {
        alad::LogError("ERROR: unmatched size %dx%d", static_cast<int>(width), static_cast<int>(height));
        return false;
    }
    if (ctx.width == 0 || ctx.height == 0) {
        ctx.width = width;
        ctx.height = height;
        alad::LogLine("INFO: video size %dx%d", static_cast<int>(width), static_cast<int>(height));
    }
    if (ctx.height != height) {
        alad::LogError("ERROR: unmatched size %dx%d", static_cast<int>(width), static_cast<int>(height));
        return false;
    }
    return true;
}

namespace {

// The strength a later (not first) frame is mapped with, kept in the context.
uint32_t NextStrength(ad_cxt_t& ctx, const ad_param_t_& param) {
    uint32_t strength = param.strength_target;
    if (param.strength_mode != 0) strength = cltm_detail::RampStrength(ctx, param);
    ctx.strength = strength;
    return strength;
}

// Images are CV_32SC3; another 3-channel depth is taken by value, anything else is refused.
bool InputImage(const cv::Mat& in, cv::Mat* src) {
    if (in.empty() || in.type() == CV_32SC3) {
        *src = in;
        return true;
    }
    if (in.channels() == 3) {
        in.convertTo(*src, CV_32S);
        return true;
    }
    alad::LogError("ERROR: CLTM needs a 3-channel image, got %d channels", in.channels());
    return false;
}

void ShapeLike(const cv::Mat& in, cv::Mat& m) {
    if (m.rows != in.rows || m.cols != in.cols) m.create(in.rows, in.cols, CV_32SC3);
}

// Writes a CV_32SC3 image into out, converted (saturating) when out has another depth.
void StoreImage(const cv::Mat& image, cv::Mat& out) {
    if (out.type() == CV_32SC3 && out.rows == image.rows && out.cols == image.cols) {
        image.copyTo(out);
    } else {
        image.convertTo(out, out.depth());
    }
}

// 12-bit to 10-bit. Values outside 0..4095 are clamped first, so such a pixel is treated as black
// or white instead of as a huge code.
void ImageToPlane(const cv::Mat& in, uint32_t* plane) {
    const size_t row_values = static_cast<size_t>(in.cols) * 3;
    for (int y = 0; y < in.rows; ++y) {
        const int32_t* src = in.ptr<int32_t>(y);
        uint32_t* dst = plane + static_cast<size_t>(y) * row_values;
        for (size_t i = 0; i < row_values; ++i) {
            const int32_t v = src[i] < 0 ? 0 : (src[i] > 4095 ? 4095 : src[i]);
            dst[i] = static_cast<uint32_t>(v >> 2);
        }
    }
}

// 10-bit to 12-bit, the two top bits repeated at the bottom (1023 -> 4095, 512 -> 2050).
void PlaneToImage(const uint32_t* plane, int rows, int cols, cv::Mat& out) {
    cv::Mat image = out.type() == CV_32SC3 ? out : cv::Mat(rows, cols, CV_32SC3);
    const size_t row_values = static_cast<size_t>(cols) * 3;
    for (int y = 0; y < rows; ++y) {
        const uint32_t* src = plane + static_cast<size_t>(y) * row_values;
        int32_t* dst = image.ptr<int32_t>(y);
        for (size_t i = 0; i < row_values; ++i) dst[i] = static_cast<int32_t>(4u * src[i] + (src[i] >> 8));
    }
    if (image.data != out.data) StoreImage(image, out);
}

// The buffers must hold the frame and its curve set; a frame that does not fit is passed through.
bool FitsOrPassThrough(const cv::Mat& src, const cltm_params_api_& params, const CLTMBufferManager& buffers,
                       cv::Mat& out) {
    const uint32_t cols = static_cast<uint32_t>(src.cols);
    const uint32_t rows = static_cast<uint32_t>(src.rows);
    if (buffers.Fits(cols, rows, params.param)) return true;
    alad::LogError("ERROR: frame %dx%d does not fit the CLTM buffers allocated for %dx%d", src.cols, src.rows,
                   static_cast<int>(buffers.AllocatedWidth()), static_cast<int>(buffers.AllocatedHeight()));
    StoreImage(src, out);
    return false;
}

void ReportException(const std::exception& e) {
    alad::LogError("ERROR: CLTM frame failed: %s", e.what());
}

// ---- A video frame in one sweep ----
//
// The plain path runs five passes over a frame (12 to 10 bits, luma and mapping, colour, luma and
// histograms again, 10 to 12 bits) through three whole planes. The sweep does the same work row by
// row with the kernels of cltm_rows: each row is converted, sampled for the histograms, mapped,
// and written to the output plane and the output image while it is in the cache; the new curves
// then come from the histograms through the same code as the plain path's. It leaves the same
// output image, curve set, histogram buffer, context, debug store contents and messages, and the
// same output plane once unpacked (it writes it packed: CLTMBufferManager::UnpackOutputPlane).
// Only the input plane is not filled: the sweep reads the image directly, and nothing reads that
// plane after a frame.

// Row buffers of one stripe: a ring of four converted rows (the filter's window and the row
// converted ahead; an odd row stays until it is sampled), the filter's
// neighbour weights and the filtered luma; the look-up tables of the row pair at hand; and the
// result row handed to the next stage, when it takes the result row by row.
class StripeRows {
public:
    explicit StripeRows(int cols)
        : stride_(cltm_rows::PaddedWidth(cols) + 2 * cltm_rows::kRowPad),
          storage_(static_cast<size_t>(stride_) * kArrays) {}

    int16_t* Channel(int row, int c) { return Array((row % 4) * 4 + c); }
    int16_t* Luma(int row) { return Array((row % 4) * 4 + 3); }
    cltm_rows::PlanarRow Planar(int row) { return {Channel(row, 0), Channel(row, 1), Channel(row, 2), Luma(row)}; }
    // Weights towards the row below: two sets, for the rows above and below the current one.
    cltm_rows::PairWeights Below(int row) {
        const int base = 16 + (row & 1) * 3;
        return {Array(base), Array(base + 1), Array(base + 2)};
    }
    int16_t* Right() { return Array(22); }
    int16_t* Filtered() { return Array(23); }
    int16_t* Handoff(int c) { return Array(24 + c); }
    cltm_rows::RowQuads quads;  // the look-up tables of the row pair at hand

private:
    static constexpr int kArrays = 27;
    // Each array may be read kRowPad elements before its start and up to its padding after.
    int16_t* Array(int index) { return storage_.data() + static_cast<size_t>(index) * stride_ + cltm_rows::kRowPad; }

    int stride_;
    std::vector<int16_t> storage_;
};

}  // namespace

// The sweep's working storage, kept by the buffer manager from frame to frame so that a steady
// frame size allocates (and faults in) nothing.
struct CLTMSweepStorage {
    cltm_rows::MapTables tables;
    std::vector<uint32_t> hist, raw, smooth, partial;
    std::vector<StripeRows> stripe_rows;
    int stripe_cols = -1;
};

namespace {

// Rows of a CV_32SC3 image, or none.
struct ImageRows {
    uchar* data = nullptr;
    size_t step = 0;
    int32_t* Row(int y) const {
        return data == nullptr ? nullptr : reinterpret_cast<int32_t*>(data + static_cast<size_t>(y) * step);
    }
};

struct SweepFrame {
    const cv::Mat* src = nullptr;  // the input image, or (null) the ARGB frame
    alad::ArgbFrame argb;          // the ARGB frame: the input without `src`, the narrowed output with `narrow`
    bool narrow = false;
    ImageRows image;  // CV_32SC3 rows of the output image, or of a stand-in converted into it
    ImageRows copy;
    CLTMRowConsumer next;
    uint32_t* plane = nullptr;
    int rows = 0;
    int cols = 0;
    bool first = false;  // pass-through: no mapping
    const cltm_rows::MapTables* tables = nullptr;
    cltm_rows::ColourStep colour;
    uint32_t hist_mode = 0;
    cltm_detail::BlockGrid grid;

    cltm_rows::RowInput Input(int y) const {
        cltm_rows::RowInput in;
        if (src != nullptr) {
            in.image = src->ptr<int32_t>(y);
        } else {
            in.argb = argb.Row(y);
        }
        return in;
    }
};

// Counts samples into the block histograms `block_hist` only (the global histogram and the sum
// follow from them). `end_first` is FirstLuma of row `end`, read before any stripe ran (another
// stripe may have written it since, when the output is the input).
void SweepRows(const SweepFrame& f, int begin, int end, int32_t end_first, StripeRows& rows, uint32_t* block_hist) {
    const bool filter = !f.first && f.tables->filter;
    const int padded = cltm_rows::PaddedWidth(f.cols);
    // The filter's neighbours beyond the frame's edge repeat the edge pixel.
    auto pad_edges = [&](int y) {
        int16_t* luma = rows.Luma(y);
        luma[-1] = luma[0];
        for (int x = f.cols; x <= padded; ++x) luma[x] = luma[f.cols - 1];
    };
    auto convert = [&](int y) {
        const cltm_rows::PlanarRow row = rows.Planar(y);
        cltm_rows::ConvertRow(f.Input(y), f.cols, row.c0, row.c1, row.c2, row.luma);
        pad_edges(y);
    };
    auto clamped = [&](int y) { return y < 0 ? 0 : (y >= f.rows ? f.rows - 1 : y); };
    // With the filter, rows y + 1 and y + 2 are converted before row y is written (the latter while
    // it is), and no row is read again after it has been written: an output image that is the input
    // itself stays correct.
    if (filter) {
        if (begin > 0) convert(begin - 1);
        convert(begin);
        if (begin + 1 < f.rows) convert(begin + 1);
        cltm_rows::DownWeights(*f.tables, rows.Luma(clamped(begin - 1)), rows.Luma(begin), f.cols,
                               rows.Below(begin - 1));
    }
    const size_t block_row_bins = static_cast<size_t>(f.grid.bw) * kHistBins;
    // An odd row's luma is sampled a row later, when its writes have left the processor's store
    // queue (read back at once, they wait for the output rows' stores ahead of them). In pair mode
    // the partner of an odd-width row's last pixel is the next row's first, read before that row
    // is written (the output may be the input).
    int pending = -1;
    int32_t pending_next_first = 0;
    auto sample_pending = [&] {
        if (pending < 0) return;
        cltm_rows::SampleRow(rows.Luma(pending), f.cols, f.hist_mode, pending_next_first, f.grid.log2w,
                             block_hist + (static_cast<uint32_t>(pending) >> f.grid.log2h) * block_row_bins,
                             f.grid.count() * kHistBins);
        pending = -1;
    };
    const bool hand_over = f.next.row != nullptr;
    int16_t* const handoff[3] = {rows.Handoff(0), rows.Handoff(1), rows.Handoff(2)};
    for (int y = begin; y < end; ++y) {
        cltm_rows::RowOutput out;
        out.plane = f.plane + static_cast<size_t>(y) * f.cols;  // packed pixels
        out.image = f.image.Row(y);
        out.copy = f.copy.Row(y);
        if (hand_over) std::copy(handoff, handoff + 3, out.next);
        out.argb = f.narrow ? f.argb.Row(y) : nullptr;
        out.stream_plane = f.src != nullptr;
        const int16_t* luma = rows.Luma(y);
        const int16_t* c0 = rows.Channel(y, 0);
        const int16_t* c1 = rows.Channel(y, 1);
        const int16_t* c2 = rows.Channel(y, 2);
        if (f.first) {
            convert(y);
            cltm_rows::CopyRow(c0, c1, c2, f.cols, out);
        } else if (!filter) {
            // Without the filter a row is mapped in one pass, which leaves its luma for the histograms.
            cltm_rows::MapRow(*f.tables, rows.quads.ForRow(*f.tables, y), f.colour, y, f.Input(y), f.cols,
                              rows.Luma(y), out);
        } else {
            // The filtered row: the filter, the base through the curves, the detail added back; the
            // row after the next converted meanwhile.
            const int16_t* below = rows.Luma(clamped(y + 1));
            cltm_rows::DownWeights(*f.tables, luma, below, f.cols, rows.Below(y));
            cltm_rows::RightWeights(*f.tables, luma, f.cols, rows.Right());
            cltm_rows::FilterRow(*f.tables, rows.Luma(clamped(y - 1)), luma, below, rows.Below(y - 1), rows.Below(y),
                                 rows.Right(), f.cols, rows.Filtered());
            const int ahead = y + 2 < f.rows && y + 2 <= end ? y + 2 : -1;
            cltm_rows::FilteredMapRow(*f.tables, rows.quads.ForRow(*f.tables, y), f.colour, y, c0, c1, c2, luma,
                                      rows.Filtered(), f.cols, out,
                                      ahead >= 0 ? f.Input(ahead) : cltm_rows::RowInput(),
                                      ahead >= 0 ? rows.Planar(ahead) : cltm_rows::PlanarRow());
            if (ahead >= 0) pad_edges(ahead);
        }
        if (hand_over) f.next.row(f.next.context, y, handoff, f.cols);
        sample_pending();
        if ((y & 1) != 0) {
            pending = y;
            pending_next_first = y + 1 >= f.rows ? 0 : y + 1 == end ? end_first : cltm_rows::FirstLuma(f.Input(y + 1));
        }
    }
    sample_pending();
    cltm_rows::FinishRows();
    if (f.next.finish != nullptr) f.next.finish(f.next.context);
}

bool Overlap(const cv::Mat& a, const cv::Mat& b) {
    return a.datastart != nullptr && b.datastart != nullptr && a.datastart < b.dataend && b.datastart < a.dataend;
}

// Whether the frame's output overwrites its input (the rows of one stripe would then be read by
// the filter of the next after they were written).
bool InPlace(const CLTMFrameIO& io) {
    if (io.image == nullptr) return io.narrow || io.next.row != nullptr;  // the ARGB buffer is written
    if (io.next_writes_input) return true;
    for (const cv::Mat* out : {io.out, io.copy}) {
        if (out != nullptr && Overlap(*io.image, *out)) return true;
    }
    return false;
}

int FrameRows(const CLTMFrameIO& io) { return io.image != nullptr ? io.image->rows : io.argb.rows; }
int FrameCols(const CLTMFrameIO& io) { return io.image != nullptr ? io.image->cols : io.argb.cols; }

// ad_proc_video on the frame, with the wrapper's conversions around it, as one sweep. Returns false
// when the sweep does not take the frame (a missing argument, a frame the block tables do not
// suit, or no memory for its working storage); nothing has been changed then. `copied` tells
// whether io.copy received the result.
bool SweepVideoFrame(const CLTMFrameIO& io, const ad_param_t_* param, ad_cxt_t* ctx, CLTMBufferManager& buffers,
                     int32_t* result, bool* copied) {
    *copied = false;
    const int rows = FrameRows(io), cols = FrameCols(io);
    if (param == nullptr || ctx == nullptr || param->clip_curve == nullptr || rows == 0 || cols == 0) return false;
    const uint32_t width = static_cast<uint32_t>(cols);
    const uint32_t height = static_cast<uint32_t>(rows);
    SweepFrame f;
    if (!cltm_detail::MakeBlockGrid(width, height, *param, &f.grid)) return false;
    f.src = io.image;
    f.argb = io.argb;
    f.narrow = io.narrow;
    f.next = io.next;
    f.rows = rows;
    f.cols = cols;
    f.plane = buffers.mOutputPlane;
    f.first = ctx->first_frame == 1;
    f.hist_mode = param->hist_mode;
    f.colour.offset = param->linear_adj_offset;
    f.colour.ratio = param->linear_adj_ratio;

    const size_t blocks = f.grid.count();
    const size_t bins = blocks * kHistBins;
    int stripes = 1;
    cv::Mat image;
    try {
        if (!buffers.mSweepStorage) buffers.mSweepStorage = std::make_shared<CLTMSweepStorage>();
        CLTMSweepStorage& w = *buffers.mSweepStorage;
        if (!f.first && !cltm_rows::BuildMapTables(buffers.mToneCurves, width, height, *param, f.grid, &w.tables)) {
            return false;
        }
        f.tables = &w.tables;
        // Stripes that write their rows over the input could change rows the filter of a
        // neighbouring stripe still reads; without the filter a row reads only itself.
        const bool filter = !f.first && w.tables.filter;
        stripes = InPlace(io) && filter ? 1 : alad::StripeCount(f.rows, alad::EngineThreads());
        w.hist.resize(bins);
        w.raw.resize(blocks * kCurvePoints);
        w.smooth.resize(blocks * kCurvePoints);
        w.partial.assign(static_cast<size_t>(stripes) * cltm_rows::kSampleCopies * bins, 0);
        if (w.stripe_cols != f.cols) w.stripe_rows.clear();
        w.stripe_cols = f.cols;
        while (w.stripe_rows.size() < static_cast<size_t>(stripes)) w.stripe_rows.emplace_back(f.cols);
        if (!f.first) {
            for (int s = 0; s < stripes; ++s) w.stripe_rows[static_cast<size_t>(s)].quads.Reserve(w.tables);
        }
        if (io.out != nullptr) {
            if (io.out->rows != f.rows || io.out->cols != f.cols) io.out->create(f.rows, f.cols, CV_32SC3);
            image = io.out->type() == CV_32SC3 ? *io.out : cv::Mat(f.rows, f.cols, CV_32SC3);
            f.image = ImageRows{image.data, image.step[0]};
        }
        if (io.copy != nullptr) {
            io.copy->create(f.rows, f.cols, CV_32SC3);
            f.copy = ImageRows{io.copy->data, io.copy->step[0]};
        }
    } catch (const std::exception&) {
        return false;
    }

    // From here on, step by step what ad_proc_video does.
    if (!cltm_detail::BindVideoSize(*ctx, width, height)) {
        *result = 1;
        buffers.UnpackOutputPlane();
        if (io.out != nullptr) PlaneToImage(buffers.mOutputPlane, f.rows, f.cols, *io.out);
        return true;
    }
    // The frame is packed over the first pixels of the plane. Packed pixels of a larger frame
    // beyond them are spread out first, where the plain path would have left them.
    const size_t pixels = static_cast<size_t>(f.rows) * f.cols;
    if (buffers.mPackedPixels > pixels) buffers.UnpackOutputPlane();
    uint32_t weight = 0;
    if (f.first) {
        ctx->strength = 0;
    } else {
        f.colour.strength = NextStrength(*ctx, *param);
        weight = param->curve_transition;
    }
    CLTMSweepStorage& w = *buffers.mSweepStorage;
    std::vector<uint32_t>& hist = w.hist;
    std::vector<uint32_t>& partial = w.partial;
    // The first luma of each stripe's next row, read before any stripe writes.
    int32_t end_first[alad::kMaxEngineThreads] = {};
    for (int s = 0; s < stripes; ++s) {
        const int next = alad::StripeBegin(f.rows, stripes, s + 1);
        if (next < f.rows) end_first[s] = cltm_rows::FirstLuma(f.Input(next));
    }
    alad::ForEachStripe(f.rows, stripes, [&](int s, int begin, int end) {
        uint32_t* block_hist = partial.data() + static_cast<size_t>(s) * cltm_rows::kSampleCopies * bins;
        SweepRows(f, begin, end, end_first[s], w.stripe_rows[static_cast<size_t>(s)], block_hist);
    });
    // Counts add up the same in any order (32-bit wrapping, as the plain path's). Every sample
    // counts once in a block and once in the global histogram, and adds its bin code to the sum.
    std::fill(hist.begin(), hist.end(), 0u);
    for (size_t part = 0; part < static_cast<size_t>(stripes) * cltm_rows::kSampleCopies; ++part) {
        const uint32_t* counts = partial.data() + part * bins;
        for (size_t i = 0; i < bins; ++i) hist[i] += counts[i];
    }
    uint32_t* global = buffers.mHistBuffer;
    std::memset(global, 0, (kHistBins + 1) * sizeof(uint32_t));
    for (size_t block = 0; block < blocks; ++block) {
        for (size_t b = 0; b < kHistBins; ++b) global[b] += hist[block * kHistBins + b];
    }
    uint32_t sum = 0;
    for (uint32_t b = 0; b < kHistBins; ++b) sum += b * global[b];
    global[kHistBins] = sum;
    buffers.mPackedPixels = pixels;
    if (io.out != nullptr && image.data != io.out->data) StoreImage(image, *io.out);
    *copied = io.copy != nullptr;
    cltm_detail::CurvesFromHistograms(buffers.mToneCurves, hist.data(), w.raw.data(), w.smooth.data(), width, height,
                                      weight, *param, f.grid, true);
    ctx->first_frame = 0;
    *result = 0;
    return true;
}

}  // namespace

int32_t ad_proc_image(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height,
                      const ad_param_t_* param, uint32_t* curves) {
    if (curves == nullptr || in_rgb == nullptr || out_rgb == nullptr || param == nullptr) return 1;
    const int32_t r = ad_proc_calc_curve(curves, nullptr, nullptr, reinterpret_cast<const uint32_t*>(in_rgb), width,
                                         height, 0, param);
    if (r != 0) return r;
    return ad_proc_map(out_rgb, in_rgb, width, height, curves, param->strength_target, param);
}

int32_t ad_proc_video(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height,
                      const ad_param_t_* param, ad_cxt_t* ctx, uint32_t /*reserved*/, uint32_t* curves,
                      uint32_t* hist_buffer) {
    if (ctx == nullptr || in_rgb == nullptr || out_rgb == nullptr || param == nullptr || curves == nullptr ||
        hist_buffer == nullptr) {
        return 1;
    }
    if (!cltm_detail::BindVideoSize(*ctx, width, height)) return 1;

    uint32_t weight = 0;
    if (ctx->first_frame == 1) {
        // No curves yet: the first frame passes through and only leaves curves for the next.
        std::memcpy(out_rgb, in_rgb, static_cast<size_t>(width) * height * 3 * sizeof(uint32_t));
        ctx->strength = 0;
    } else {
        const uint32_t strength = NextStrength(*ctx, *param);
        const int32_t r = ad_proc_map(out_rgb, in_rgb, width, height, curves, strength, param);
        if (r != 0) return r;
        weight = param->curve_transition;
    }
    const int32_t r = ad_proc_calc_curve(curves, hist_buffer, hist_buffer + kHistBins,
                                         reinterpret_cast<const uint32_t*>(in_rgb), width, height, weight, param);
    ctx->first_frame = 0;
    return r;
}

int32_t CLTMOneImageImple_(const cv::Mat& in, const cltm_params_api_& params, CLTMBufferManager& buffers,
                           cv::Mat& /*work*/, cv::Mat& out) {
    try {
        cv::Mat src;
        if (!InputImage(in, &src)) return 1;
        ShapeLike(src, out);
        if (!FitsOrPassThrough(src, params, buffers, out)) return 1;
        ImageToPlane(src, buffers.mInputPlane);
        buffers.UnpackOutputPlane();
        const int32_t r = ad_proc_image(buffers.mOutputPlane, reinterpret_cast<const int32_t*>(buffers.mInputPlane),
                                        static_cast<uint32_t>(src.cols), static_cast<uint32_t>(src.rows), params.param,
                                        buffers.mToneCurves);
        if (src.rows == 0) return r;
        PlaneToImage(buffers.mOutputPlane, src.rows, src.cols, out);
        return r;
    } catch (const std::exception& e) {
        ReportException(e);
        return 1;
    }
}

namespace {

int32_t VideoFrame(const cv::Mat& in, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                   CLTMBufferManager& buffers, cv::Mat& work, cv::Mat& out, bool sweep, cv::Mat* copy, bool* copied) {
    if (copied != nullptr) *copied = false;
    try {
        cv::Mat src;
        if (!InputImage(in, &src)) return 1;
        ShapeLike(src, work);  // only shaped here: the pipeline's scratch for the other stage
        ShapeLike(src, out);
        if (!FitsOrPassThrough(src, params, buffers, out)) return 1;
        int32_t swept = 0;
        CLTMFrameIO io;
        io.image = &src;
        io.out = &out;
        io.copy = copy;
        bool swept_copy = false;
        if (sweep && SweepVideoFrame(io, params.param, ctx.ctx, buffers, &swept, &swept_copy)) {
            if (copied != nullptr) *copied = swept_copy;
            return swept;
        }
        ImageToPlane(src, buffers.mInputPlane);
        buffers.UnpackOutputPlane();
        const int32_t r = ad_proc_video(buffers.mOutputPlane, reinterpret_cast<const int32_t*>(buffers.mInputPlane),
                                        static_cast<uint32_t>(src.cols), static_cast<uint32_t>(src.rows), params.param,
                                        ctx.ctx, 0, buffers.mToneCurves, buffers.mHistBuffer);
        PlaneToImage(buffers.mOutputPlane, src.rows, src.cols, out);
        return r;
    } catch (const std::exception& e) {
        ReportException(e);
        return 1;
    }
}

}  // namespace

int32_t CLTMVideoRunOneFrameImple_(const cv::Mat& in, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                                   CLTMBufferManager& buffers, cv::Mat& work, cv::Mat& out, cv::Mat* copy,
                                   bool* copied) {
    return VideoFrame(in, params, ctx, buffers, work, out, true, copy, copied);
}

int32_t CLTMVideoRunOneFramePlain(const cv::Mat& in, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                                  CLTMBufferManager& buffers, cv::Mat& work, cv::Mat& out) {
    return VideoFrame(in, params, ctx, buffers, work, out, false, nullptr, nullptr);
}

bool CLTMVideoSweepFrame(const CLTMFrameIO& io, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                         CLTMBufferManager& buffers, int32_t* result) {
    const int rows = FrameRows(io), cols = FrameCols(io);
    if (ctx.ctx == nullptr || rows <= 0 || cols <= 0 || (io.image == nullptr && io.argb.Empty()) ||
        (io.image != nullptr && io.image->type() != CV_32SC3)) {
        return false;
    }
    const uint32_t width = static_cast<uint32_t>(cols), height = static_cast<uint32_t>(rows);
    // What the usual way would refuse or pass through, it handles itself, with its messages.
    if (!buffers.Fits(width, height, params.param)) return false;
    const ad_cxt_t& c = *ctx.ctx;
    if (c.width != 0 && c.height != 0 && (c.width != width || c.height != height)) return false;
    try {
        bool copied = false;
        return SweepVideoFrame(io, params.param, ctx.ctx, buffers, result, &copied);
    } catch (const std::exception& e) {
        ReportException(e);
        return false;
    }
}

}  // namespace kelvo
