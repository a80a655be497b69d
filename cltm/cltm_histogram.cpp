#include "cltm/cltm_histogram.h"

#include <cstdlib>
#include <cstring>

#include "cltm/cltm_internal.h"

namespace kelvo {

using cltm_detail::BlockGrid;
using cltm_detail::ClampIndex;

namespace {

// Steps shared by both entry points: clear, then one sample per 2x2 cell from the odd rows.
// `plane_len` is the number of readable elements of `luma`; the pair partner of an odd-width
// row's last pixel is the plane's next element, which is 0 past the end.
void SampleHistograms(uint32_t* hist, uint32_t* global_hist, uint32_t* sum, const uint32_t* luma, size_t plane_len,
                      uint32_t width, uint32_t height, const BlockGrid& grid, uint32_t hist_mode) {
    std::memset(hist, 0, grid.count() * kHistBins * sizeof(uint32_t));
    if (global_hist != nullptr) std::memset(global_hist, 0, kHistBins * sizeof(uint32_t));
    if (sum != nullptr) *sum = 0;
    if (height < 2 || hist_mode > 1) return;
    const bool count_global = global_hist != nullptr && sum != nullptr;

    for (size_t y = 1; y < height; y += 2) {
        const size_t row_start = y * width;
        const uint32_t* row = luma + row_start;
        uint32_t* row_hist = hist + (y >> grid.log2h) * grid.bw * kHistBins;
        for (size_t x = 0; x < width; x += 2) {
            uint32_t s;
            if (hist_mode == 0) {
                s = row[x] >> 3;
            } else {
                const size_t next = row_start + x + 1;
                const uint32_t partner = next < plane_len ? luma[next] : 0;
                s = (row[x] + partner + 1) >> 4;
            }
            s = ClampIndex(s, kHistBins - 1);
            ++row_hist[(x >> grid.log2w) * kHistBins + s];
            if (count_global) {
                ++global_hist[s];
                *sum += s;
            }
        }
    }
}

}  // namespace

uint32_t* ad_calc_luma(uint32_t* luma, const uint32_t* rgb, uint32_t width, uint32_t height) {
    if (luma == nullptr || rgb == nullptr) return luma;
    const size_t n = static_cast<size_t>(width) * height;
    for (size_t i = 0; i < n; ++i) {
        const int32_t r = static_cast<int32_t>(rgb[3 * i]);
        const int32_t g = static_cast<int32_t>(rgb[3 * i + 1]);
        const int32_t b = static_cast<int32_t>(rgb[3 * i + 2]);
        int32_t m = r > g ? r : g;
        m = m > b ? m : b;
        luma[i] = static_cast<uint32_t>(m);
    }
    return luma;
}

int32_t cltm_detail::CalcHistogramWithScratch(uint32_t* hist, uint32_t* global_hist, uint32_t* sum, const uint32_t* rgb,
                                              uint32_t width, uint32_t height, const ad_param_t_& param,
                                              const BlockGrid& grid, uint32_t* luma) {
    const size_t pixels = static_cast<size_t>(width) * height;
    ad_calc_luma(luma, rgb, width, height);
    luma[pixels] = 0;
    SampleHistograms(hist, global_hist, sum, luma, pixels + 1, width, height, grid, param.hist_mode);
    return 0;
}

int32_t ad_calc_histogram(uint32_t* hist, uint32_t* global_hist, uint32_t* sum, const uint32_t* rgb, uint32_t width,
                          uint32_t height, const ad_param_t_* param) {
    if (hist == nullptr || rgb == nullptr || param == nullptr) return 1;
    BlockGrid grid;
    if (!cltm_detail::MakeBlockGridOrReport(width, height, *param, &grid)) return 1;
    size_t pixels = 0;
    if (!cltm_detail::CountOf(width, height, 1, &pixels)) return 0;
    // One element more than the frame: the pair partner of the last pixel of an odd-width frame.
    uint32_t* luma = cltm_detail::AllocU32(pixels + 1);
    if (luma == nullptr) return 0;  // silent on purpose: the caller goes on with what it has
    cltm_detail::CalcHistogramWithScratch(hist, global_hist, sum, rgb, width, height, *param, grid, luma);
    std::free(luma);
    return 0;
}

int32_t ad_calc_histogram_luma(uint32_t* hist, uint32_t* global_hist, uint32_t* sum, const uint32_t* luma,
                               uint32_t width, uint32_t height, const ad_param_t_* param) {
    if (hist == nullptr || luma == nullptr || param == nullptr) return 1;
    BlockGrid grid;
    if (!cltm_detail::MakeBlockGridOrReport(width, height, *param, &grid)) return 1;
    SampleHistograms(hist, global_hist, sum, luma, static_cast<size_t>(width) * height, width, height, grid,
                     param->hist_mode);
    return 0;
}

}  // namespace kelvo
