#include "standalone/DocumentBase64.h"

#include <algorithm>

namespace tv::standalone {

namespace {
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Sextet(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}
}  // namespace

std::string EncodeBase64(const std::vector<uint8_t>& bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t n = std::min<size_t>(3, bytes.size() - i);
        uint32_t v = uint32_t(bytes[i]) << 16;
        if (n > 1) v |= uint32_t(bytes[i + 1]) << 8;
        if (n > 2) v |= bytes[i + 2];
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += n > 1 ? kAlphabet[(v >> 6) & 63] : '=';
        out += n > 2 ? kAlphabet[v & 63] : '=';
    }
    return out;
}

std::optional<std::vector<uint8_t>> DecodeBase64(const std::string& text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::vector<uint8_t> out;
    for (size_t i = 0; i < text.size(); i += 4) {
        const bool last = i + 4 == text.size();
        int s[4];
        int pad = 0;
        for (int k = 0; k < 4; ++k) {
            const char c = text[i + size_t(k)];
            if (c == '=' && last && k >= 2) {
                s[k] = 0;
                ++pad;
                continue;
            }
            if (pad) return std::nullopt;  // data after padding
            s[k] = Sextet(c);
            if (s[k] < 0) return std::nullopt;
        }
        const uint32_t v =
            uint32_t(s[0]) << 18 | uint32_t(s[1]) << 12 | uint32_t(s[2]) << 6 | uint32_t(s[3]);
        out.push_back(uint8_t(v >> 16));
        if (pad < 2) out.push_back(uint8_t(v >> 8));
        if (pad < 1) out.push_back(uint8_t(v));
    }
    return out;
}

}  // namespace tv::standalone
