// The plain blur, compiled on its own at -O2, as the in-run baseline.
#include "blur_oracle.h"

void oracleBlurBaseline(uint8_t*& in, uint8_t*& out, int width, int height) {
    oracle::blur(in, out, width, height);
}
