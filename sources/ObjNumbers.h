// Numbers in OBJ text, read on the bytes. The arithmetic is the one the reader has always used,
// so every file gives the same doubles to the bit: up to 17 integer digits and the fraction's
// digits gathered into a 64-bit integer (digits past what it holds are dropped), then one
// multiplication or division by a power of ten.
#pragma once

#include <cstdint>

namespace tv {

// Where a number's reading ended. On failure `next` is usually where it began, but a number
// whose exponent is out of range fails with `next` past its exponent.
struct ObjNumberEnd {
    const char* next = nullptr;
    bool ok = false;
    bool spansLines = false;  // "nan(...)" whose parentheses hold a line break
};

// A real number at `p` (no blanks skipped): optional sign, digits with an optional point (".5"
// and "5." too), optional exponent; "nan", "nan(...)", "inf" and "infinity" in any case.
// `end` is the end of the whole text.
ObjNumberEnd ScanObjReal(const char* p, const char* end, double& value);

// A 32-bit integer at `p`: optional sign and digits; fails when it does not fit.
ObjNumberEnd ScanObjInt(const char* p, const char* end, int32_t& value);

}  // namespace tv
