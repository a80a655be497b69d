// A program outside the project that uses the installed library.
#include <alad/alad_records.h>
#include <alad/alad_version.h>

#include <cstdio>

int main() {
    kelvo::ad_user_t_ user;
    std::printf("alad %s\n", kelvo::ALADVersion());
    return user.blk_width == 256 && kelvo::ALADVersion()[0] != '\0' ? 0 : 1;
}
