/* The public header used from C: create, invert and release an image. */
#include <stdio.h>
#include <string.h>

#include "zol.h"

int main(void) {
    zolSetErrMode(ZOL_ErrModeSilent);
    ZolImage* img = zolCreateImageJaehne(ZOL_DEPTH_8U, 33, 17);
    ZolImage* inv = zolCloneImage(img);
    if (!img || !inv) return 1;
    zolNot(img, inv);
    for (int y = 0; y < img->height; ++y)
        for (int x = 0; x < img->width; ++x) {
            unsigned a = (unsigned char)img->imageData[y * img->widthStep + x];
            unsigned b = (unsigned char)inv->imageData[y * inv->widthStep + x];
            if ((a ^ b) != 0xFFu)
                return 2;
        }
    if (zolGetErrStatus() != 0 || strcmp(zolGetLibVersion()->versionText, "v2.0 Beta 2") != 0)
        return 3;
    zolDeallocate(img, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    zolDeallocate(inv, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    puts("c api ok");
    return 0;
}
