/* A display driver in C, from the installed library: the engine started for the panel's default
 * configuration, the ambient level from a lux reading, the engine's lines routed to the driver's
 * own log, and one ARGB8888 frame processed in place. */
#include <alad/alad_driver.h>

#include <stdio.h>
#include <stdlib.h>

static void DriverLog(void* user, int level, const char* line) {
    (void)user;
    if (level > 0) fprintf(stderr, "alad[%d]: %s\n", level, line); /* e.g. the system log */
}

int main(void) {
    enum { kWidth = 108, kHeight = 240 };
    const int lux = 20000;
    ad_user_t_driver_ user;
    alad_display_model_driver_ display;
    alad_view_condition_driver_ view = {300.0f, 0.0f};
    unsigned char* pixels = malloc((size_t)kWidth * kHeight * 4);
    _image frame = {kWidth, kHeight, 4, pixels};
    int i;
    if (!pixels) return 1;
    for (i = 0; i < kWidth * kHeight * 4; ++i) pixels[i] = (unsigned char)(i % 4 == 0 ? 255 : (i / 4) % 251);

    SetEngineLogSinkForDriver(DriverLog, NULL);
    view.blackLevelDst = (float)agtmLuxTable[getAGTMLevel(lux)];
    InitEngineALADforDriver(&user, &display, &view); /* resets user and display to the defaults */
    user.width = kWidth;
    user.height = kHeight;
    user.tm_mode = 1; /* CLTM then AGTM */
    UpdateCLTMParameterForDriver(&user);
    for (i = 0; i < 3; ++i) RunOneFrameBufferALADforDriver(&frame); /* once per displayed frame */
    printf("level %d, status %d, first pixel A R G B = %d %d %d %d\n", getAGTMLevel(lux), (int)GetLastStatusForDriver(),
           pixels[0], pixels[1], pixels[2], pixels[3]);
    free(pixels);
    return GetLastStatusForDriver() == 0 ? 0 : 1;
}
