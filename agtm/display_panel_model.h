// Display panel model: normalised code (0..1) <-> log10 of the luminance a panel shows under a
// given ambient light. The physical basis of the AGTM tone curve.
#ifndef ALAD_AGTM_DISPLAY_PANEL_MODEL_H
#define ALAD_AGTM_DISPLAY_PANEL_MODEL_H

namespace kelvo {

// log10(white * x^gamma + black).
double DisplayModel(double x, double gamma, double white, double black);
// (max(10^y - black, 0) / white)^(1 / gamma): a luminance below the black level maps to code 0;
// there is no clamp at the top.
double DisplayModelInverse(double y, double gamma, double white, double black);
double DeGammaTrans(double x, double gamma);  // x^gamma
double GammaTrans(double x, double gamma);    // x^(1 / gamma)

// Effective black level: the panel's own black plus the ambient light reflected by the screen.
// The divisor is 2*pi cut after seven decimals, as the panel characterisation uses it.
double EffectiveBlackLevel(double black, double ambient, double reflectance);

class DisplayPanelModel {
public:
    DisplayPanelModel() = default;
    DisplayPanelModel(double gamma, double white, double black, double backlight, double reflectance,
                      double ambientSrc, double ambientDst);
    ~DisplayPanelModel() = default;

    void Init(double gamma, double white, double black, double backlight, double reflectance,
              double ambientSrc, double ambientDst);
    // Stores the panel values only: the effective black levels keep the values computed from the
    // previous black and reflectance until the viewing condition is next set.
    void UpdateDisplaySpecification(double gamma, double white, double black, double backlight,
                                    double reflectance);
    void UpdateViewCondition(double ambientSrc, double ambientDst);
    void SetGamma(double gamma) { mGamma = gamma; }
    void SetDynamicRange(double white, double black) { mWhite = white; mBlack = black; }
    void SetBacklightLevel(double level) { mBacklight = level; }
    void SetAmbientLightSrc(double ambient);
    void SetAmbientLightDst(double ambient);

    // -1.0 and the message "ambientlight isn't be specified." when black is negative (the
    // default state: no viewing condition given yet).
    double DisplayTransform(double x, double black) const;
    double DisplayInverseTransform(double y, double black) const;
    double DisplayModelTransformSrc(double x) const { return DisplayTransform(x, mBlackSrc); }
    double DisplayModelInverseTransformSrc(double y) const { return DisplayInverseTransform(y, mBlackSrc); }
    double DisplayModelTransformDst(double x) const { return DisplayTransform(x, mBlackDst); }
    double DisplayModelInverseTransformDst(double y) const { return DisplayInverseTransform(y, mBlackDst); }

    double Gamma() const { return mGamma; }
    double White() const { return mWhite; }
    double Black() const { return mBlack; }
    double Backlight() const { return mBacklight; }
    double Reflectance() const { return mReflectance; }
    double BlackSrc() const { return mBlackSrc; }
    double BlackDst() const { return mBlackDst; }
    double AmbientSrc() const { return mAmbientSrc; }
    double AmbientDst() const { return mAmbientDst; }

private:
    double mGamma = 0.0;
    double mWhite = 0.0;
    double mBlack = 0.0;
    double mBacklight = 0.0;
    double mReflectance = 0.01;
    double mBlackSrc = -1.0;  // -1: no viewing condition yet
    double mBlackDst = -1.0;
    double mAmbientSrc = 0.0;
    double mAmbientDst = 0.0;
};

}  // namespace kelvo

#endif  // ALAD_AGTM_DISPLAY_PANEL_MODEL_H
