// What a viewer gets from the panel: the luminance it emits for a code plus the ambient light its
// screen reflects, the same panel model the ambient tone curve is built on.
#ifndef ALAD_TOOLS_VIEWING_H
#define ALAD_TOOLS_VIEWING_H

#include <cmath>
#include <string>

#include "alad/alad_records.h"

namespace alad_tool {

// Reflected light of the screen under `lux` of ambient light, cd/m² (a diffuse reflector:
// illuminance x reflectance / 2 pi, with the engine's own value of 2 pi).
inline double ReflectedLuminance(const kelvo::alad_display_model_& display, double lux) {
    return lux * display.reflectance / 6.2831852;
}

// The panel's black plus the reflected light: the darkest the viewer can see, cd/m².
inline double EffectiveBlack(const kelvo::alad_display_model_& display, double lux) {
    return display.black + ReflectedLuminance(display, lux);
}

// Luminance reaching the viewer for a code (0..1) of one channel, cd/m².
inline double SeenLuminance(const kelvo::alad_display_model_& display, double code, double lux) {
    return display.white * std::pow(code, display.gamma) + EffectiveBlack(display, lux);
}

// "gamma 2.2, white 500 cd/m², black 0.2 cd/m², reflectance 0.01".
std::string PanelText(const kelvo::alad_display_model_& display);
// "300", "20000", "2380.5".
std::string LuxText(double lux);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_VIEWING_H
