/* A display driver written in C: includes the public driver header as C, links against the
 * library, and runs one frame on its own ARGB8888 buffer. */
#include <alad/alad_driver.h>

#include <stdio.h>
#include <string.h>

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
    RunOneFrameBufferALADforDriver(&image);
    if (pixels[0] != 200 || pixels[1] <= 40) {
        fprintf(stderr, "c driver: unexpected pixel %d %d\n", pixels[0], pixels[1]);
        return 1;
    }
    getAGTMCurveParams(getAGTMLevel(20000), table);
    printf("c driver: level %d, table[0] = %d\n", getAGTMLevel(20000), (int)table[0]);
    return table[0] > 2048 ? 0 : 1;
}
