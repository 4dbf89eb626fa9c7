// Repair of tags that arrive double encoded: GBK bytes taken for Latin-1 and written out
// as UTF-8 form valid UTF-8 that shows as accented gibberish.
#pragma once

#include <string>

// Structural UTF-8 test. When count is given it receives the number of two-byte
// sequences led by 0xC2 or 0xC3 (characters U+0080 to U+00FF); meaningful only when the
// result is true. Overlong forms, surrogates and lead bytes up to 0xF7 pass.
bool is_valid_utf8(const std::string& text, int* count);

// One iconv conversion of the whole input: 0, or -1 with output untouched.
int iconv_convert(const char* fromCharset, const std::string& input, const char* toCharset,
                  std::string& output);

// UTF-8 -> Latin-1 -> read as GBK -> UTF-8: 0, or -1 with output untouched.
int fix_double_encoding(const std::string& input, std::string& output);

// The text without its leading white space (space, tab, newline, CR, FF, VT).
std::string ltrim(const std::string& text);
