#include "status/text_repair.h"

#include <cstdio>
#include <cstdlib>
#include <iconv.h>

bool is_valid_utf8(const std::string& text, int* count) {
    if (count)
        *count = 0;
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const size_t size = text.size();
    size_t i = 0;
    while (i < size) {
        unsigned char b = bytes[i];
        size_t length;
        if (b < 0x80) {
            ++i;
            continue;
        } else if ((b & 0xE0) == 0xC0) {
            length = 2;
            if (count && (b == 0xC2 || b == 0xC3))
                ++*count;
        } else if ((b & 0xF0) == 0xE0) {
            length = 3;
        } else if ((b & 0xF8) == 0xF0) {
            length = 4;
        } else {
            return false;
        }
        for (size_t k = 1; k < length; ++k) {
            if (i + k >= size || (bytes[i + k] & 0xC0) != 0x80)
                return false;
        }
        i += length;
    }
    return true;
}

int iconv_convert(const char* fromCharset, const std::string& input, const char* toCharset,
                  std::string& output) {
    iconv_t descriptor = iconv_open(toCharset, fromCharset);
    if (descriptor == reinterpret_cast<iconv_t>(-1)) {
        puts("iconv_open fail");
        return -1;
    }
    size_t capacity = input.size() * 4;
    char* buffer = capacity ? static_cast<char*>(calloc(capacity, 1)) : nullptr;
    if (capacity && !buffer) {
        iconv_close(descriptor);
        puts("iconv fail");
        return -1;
    }
    char* inPointer = const_cast<char*>(input.data());
    size_t inLeft = input.size();
    // An empty input gets no buffer; iconv still wants a place to point at.
    char nothing = 0;
    char* outPointer = buffer ? buffer : &nothing;
    size_t outLeft = capacity;
    size_t converted = iconv(descriptor, &inPointer, &inLeft, &outPointer, &outLeft);
    iconv_close(descriptor);
    if (converted == static_cast<size_t>(-1)) {
        puts("iconv fail");
        free(buffer);
        return -1;
    }
    output.assign(buffer ? buffer : "", capacity - outLeft);
    free(buffer);
    return 0;
}

int fix_double_encoding(const std::string& input, std::string& output) {
    std::string latin1;
    if (iconv_convert("UTF-8", input, "LATIN1", latin1) < 0) {
        puts("iconv utf-8 -> latin1 fail");
        return -1;
    }
    std::string utf8;
    if (iconv_convert("GBK", latin1, "UTF-8", utf8) < 0) {
        puts("iconv gbk -> utf-8 fail");
        return -1;
    }
    output = utf8;
    return 0;
}

std::string ltrim(const std::string& text) {
    size_t first = text.find_first_not_of(" \t\n\r\f\v");
    return first == std::string::npos ? std::string() : text.substr(first);
}
