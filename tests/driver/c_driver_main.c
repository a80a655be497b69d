/* A display driver written in C: includes the public driver header as C, links against the
 * library, and runs one frame on its own ARGB8888 buffer. */
#include <alad/alad_driver.h>

#include <stdio.h>
#include <string.h>

/* The driver's own log: counts the engine's lines by level and keeps the last error. */
static int lines_by_level[3];
static char last_error[256];

static void DriverLog(void* user, int level, const char* line) {
    (void)user;
    if (level >= 0 && level <= 2) ++lines_by_level[level];
    if (level == 2) snprintf(last_error, sizeof(last_error), "%s", line);
}

int main(void) {
    ad_user_t_driver_ user;
    alad_display_model_driver_ model;
    alad_view_condition_driver_ view = {300.0f, 20000.0f};
    unsigned char pixels[4 * 8 * 4];
    _image image;
    int32_t table[256];
    int i;

    InitEngineALADforDriver(&user, &model, &view);
    user.width = 8;
    user.height = 4;
    user.tm_mode = 4;
    UpdateCLTMParameterForDriver(&user);

    for (i = 0; i < (int)sizeof(pixels); ++i) pixels[i] = (unsigned char)(i % 4 == 0 ? 200 : 40);
    image.width = 8;
    image.height = 4;
    image.channels = 4;
    image.data = pixels;
    SetEngineLogSinkForDriver(DriverLog, NULL);
    RunOneFrameBufferALADforDriver(&image);
    if (pixels[0] != 200 || pixels[1] <= 40 || GetLastStatusForDriver() != 0 || lines_by_level[0] == 0) {
        fprintf(stderr, "c driver: unexpected pixel %d %d, status %d\n", pixels[0], pixels[1],
                (int)GetLastStatusForDriver());
        return 1;
    }
    /* A buffer of another pixel format is refused: the call still returns 0, the status tells. */
    image.channels = 3;
    if (RunOneFrameBufferALADforDriver(&image) != 0 || GetLastStatusForDriver() != -1 ||
        strstr(last_error, "channels 3 is not 4") == NULL) {
        fprintf(stderr, "c driver: refusal not reported (status %d, '%s')\n", (int)GetLastStatusForDriver(),
                last_error);
        return 1;
    }
    SetEngineLogSinkForDriver(NULL, NULL);
    getAGTMCurveParams(getAGTMLevel(20000), table);
    printf("c driver: level %d, table[0] = %d\n", getAGTMLevel(20000), (int)table[0]);
    return table[0] > 2048 ? 0 : 1;
}
