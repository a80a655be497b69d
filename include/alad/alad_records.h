/* Parameter records of the ALAD engine: what a caller hands in to configure the two stages.
 *
 * All records are plain aggregates copied by value. A default-constructed record holds the
 * defaults the engine's own callers use. The two register sets own nothing: their array pointers
 * designate caller storage (ALAD_HIST_ADJUST_CURVE_SIZE curve values, ALAD_AGTM_LUT_SIZE AGTM table
 * values). The two sizes are also what a C driver includes this header for. */
#ifndef ALAD_ALAD_RECORDS_H
#define ALAD_ALAD_RECORDS_H

/* Entries of the register set's two tables: the CLTM histogram-adjust (clip) curve and the AGTM
 * gain table (2048 = gain 1.0). */
#define ALAD_HIST_ADJUST_CURVE_SIZE 65
#define ALAD_AGTM_LUT_SIZE 256

/* The largest frame the engine and the harness's readers take: at most ALAD_MAX_FRAME_SIDE pixels
 * on a side and ALAD_MAX_FRAME_PIXELS pixels in all (8K UHD, 7680 x 4320, either way round). A
 * larger size in a user record or a register set is refused with a message (the engine keeps the
 * configuration it had), and the readers refuse it before reading: at about 24 bytes of working
 * memory per pixel, a wrong or hostile size must not commit gigabytes on a phone. */
#define ALAD_MAX_FRAME_SIDE 8192
#define ALAD_MAX_FRAME_PIXELS (7680 * 4320)

#ifdef __cplusplus
#include <cstdint>

namespace kelvo {

// CLTM user parameters, image size and pipeline order.
struct ad_user_t_ {
    uint8_t reserved_table[256] = {};  // carried by the wrappers, never read by the engine
    uint32_t mode = 0;                 // not read by the engine
    uint32_t blk_width = 256;          // CLTM block width in pixels (rounded up to 64/128/256)
    uint32_t blk_height = 256;         // CLTM block height in pixels (same rounding)
    int32_t curve_id = 1;              // histogram clip curve selection, capped at 2
    int32_t strength = 8;              // CLTM strength, capped at 16
    uint32_t reserved_limit = 65535;   // not read by the engine
    uint32_t reserved_pair[2] = {0, 0};  // not read by the engine
    uint8_t filter_flag = 0;           // non-zero switches the CLTM detail filter on
    uint8_t reserved_spare[3] = {};    // padding behind the flag, kept for the layout
    uint32_t tm_mode = 3;              // pipeline order: 1 CLTM+AGTM, 2 AGTM+CLTM, 3 CLTM, 4 AGTM
    uint32_t width = 800;              // image width in pixels
    uint32_t height = 480;             // image height in pixels
};

// Display panel: handed in this order to the panel model.
struct alad_display_model_ {
    double gamma = 2.2;          // panel gamma
    double white = 500.0;        // white luminance, cd/m2
    double black = 0.2;          // panel black luminance, cd/m2
    double backlight = 1.0;      // backlight level; also the AGTM scaler (Q10)
    double reflectance = 0.01;   // screen reflectance for ambient light
};

// Viewing condition: ambient light at the reference (source) and at the destination, in lux.
struct alad_view_condition_ {
    float blackLevelSrc = 0.0f;
    float blackLevelDst = 0.0f;
};

// Hardware register set, public form (as read from register files).
struct alad_verification_registrator_ {
    int32_t reg_tm_mode = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t reg_blk_width_b = 0;
    int32_t reg_blk_height_b = 0;
    int32_t reg_hist_mode = 0;
    int32_t reg_curve_transition = 0;
    int32_t reg_linear_adj_offset = 0;
    int32_t reg_linear_adj_ratio = 0;
    int32_t reg_strength_mode = 0;
    int32_t reg_strength_target = 0;
    int32_t reg_strength_step = 0;
    int32_t reg_strength_interval = 0;
    uint32_t* hist_adjust_curve = nullptr;  // ALAD_HIST_ADJUST_CURVE_SIZE values of caller storage
    int32_t* agtm = nullptr;                // ALAD_AGTM_LUT_SIZE table values (raw 19.11) of caller storage
};

// Hardware register set, internal form: also carries the block counts, which are outputs only.
struct alad_verification_registrator {
    int32_t reg_tm_mode = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t reg_blk_width_b = 0;
    int32_t reg_blk_height_b = 0;
    int32_t reg_blk_h_num = 0;
    int32_t reg_blk_w_num = 0;
    int32_t reg_hist_mode = 0;
    int32_t reg_curve_transition = 0;
    int32_t reg_linear_adj_offset = 0;
    int32_t reg_linear_adj_ratio = 0;
    int32_t reg_strength_mode = 0;
    int32_t reg_strength_target = 0;
    int32_t reg_strength_step = 0;
    int32_t reg_strength_interval = 0;
    uint32_t* hist_adjust_curve = nullptr;  // ALAD_HIST_ADJUST_CURVE_SIZE values of caller storage
    int32_t* agtm = nullptr;                // ALAD_AGTM_LUT_SIZE values of caller storage
};

}  // namespace kelvo
#endif  /* __cplusplus */

#endif  /* ALAD_ALAD_RECORDS_H */
