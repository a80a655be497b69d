#include "agtm/display_panel_model.h"

#include <cmath>

#include "common/log.h"

namespace kelvo {

double DisplayModel(double x, double gamma, double white, double black) {
    return std::log10(white * std::pow(x, gamma) + black);
}

double DisplayModelInverse(double y, double gamma, double white, double black) {
    double above_black = std::pow(10.0, y) - black;
    if (above_black < 0.0) above_black = 0.0;
    return std::pow(above_black / white, 1.0 / gamma);
}

double DeGammaTrans(double x, double gamma) { return std::pow(x, gamma); }

double GammaTrans(double x, double gamma) { return std::pow(x, 1.0 / gamma); }

double EffectiveBlackLevel(double black, double ambient, double reflectance) {
    return black + ambient * reflectance / 6.2831852;
}

DisplayPanelModel::DisplayPanelModel(double gamma, double white, double black, double backlight,
                                     double reflectance, double ambientSrc, double ambientDst) {
    Init(gamma, white, black, backlight, reflectance, ambientSrc, ambientDst);
}

void DisplayPanelModel::Init(double gamma, double white, double black, double backlight,
                             double reflectance, double ambientSrc, double ambientDst) {
    UpdateDisplaySpecification(gamma, white, black, backlight, reflectance);
    UpdateViewCondition(ambientSrc, ambientDst);
}

void DisplayPanelModel::UpdateDisplaySpecification(double gamma, double white, double black,
                                                   double backlight, double reflectance) {
    mGamma = gamma;
    mWhite = white;
    mBlack = black;
    mBacklight = backlight;
    mReflectance = reflectance;
}

void DisplayPanelModel::UpdateViewCondition(double ambientSrc, double ambientDst) {
    SetAmbientLightSrc(ambientSrc);
    SetAmbientLightDst(ambientDst);
}

void DisplayPanelModel::SetAmbientLightSrc(double ambient) {
    mAmbientSrc = ambient;
    mBlackSrc = EffectiveBlackLevel(mBlack, mAmbientSrc, mReflectance);
}

void DisplayPanelModel::SetAmbientLightDst(double ambient) {
    mAmbientDst = ambient;
    mBlackDst = EffectiveBlackLevel(mBlack, mAmbientDst, mReflectance);
}

static bool BlackLevelIsSet(double black) {
    if (black < 0.0) {
        alad::Log(alad::LogLevel::kWarning, alad::Console::kErr, "ambientlight isn't be specified.");
        return false;
    }
    return true;
}

double DisplayPanelModel::DisplayTransform(double x, double black) const {
    if (!BlackLevelIsSet(black)) return -1.0;
    return DisplayModel(x, mGamma, mWhite, black);
}

double DisplayPanelModel::DisplayInverseTransform(double y, double black) const {
    if (!BlackLevelIsSet(black)) return -1.0;
    return DisplayModelInverse(y, mGamma, mWhite, black);
}

}  // namespace kelvo
