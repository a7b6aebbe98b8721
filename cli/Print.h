// The command's printing: fmt::print with every text argument's control characters escaped, so
// that names from a document reach the terminal as text, never as commands to it.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <string_view>
#include <type_traits>
#include <utility>

#include "standalone/TerminalText.h"

namespace tv::cli {

template <typename T>
decltype(auto) Shown(T&& value) {
    if constexpr (std::is_convertible_v<const T&, std::string_view>)
        return standalone::EscapeControlCharacters(std::string_view(value));
    else
        return std::forward<T>(value);
}

template <typename... Args>
void Print(std::FILE* stream, fmt::format_string<Args...> format, Args&&... args) {
    fmt::print(stream, fmt::runtime(fmt::string_view(format)), Shown(std::forward<Args>(args))...);
}

template <typename... Args>
void Print(fmt::format_string<Args...> format, Args&&... args) {
    Print(stdout, format, std::forward<Args>(args)...);
}

}  // namespace tv::cli
