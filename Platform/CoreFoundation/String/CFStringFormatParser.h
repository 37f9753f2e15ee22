#pragma once

// The language of format texts, taken apart and put together: no argument is read here and nothing is written.
//
//     specifier   = "%" [position "$"] flag* [width] ["." [precision]] [length] conversion
//     flag        = "-" | "+" | " " | "#" | "0" | "'"
//     width       = number | "*" [position "$"]
//     precision   = number | "*" [position "$"]
//     length      = "hh" | "h" | "l" | "ll" | "q" | "L" | "z" | "t" | "j"
//     conversion  = "@" | "d" | "D" | "i" | "u" | "U" | "x" | "X" | "o" | "O" | "c" | "C" | "s" | "S" | "p" | "n"
//                 | "f" | "F" | "e" | "E" | "g" | "G" | "a" | "A" | "%"
//
// Positions count from 1; a specifier without one takes the argument after the one that was taken last in that way.
// What begins with "%" and is no specifier stands for itself.

#include "CFStringObject.h"

#include <cstdint>
#include <memory_resource>
#include <vector>

namespace KXPlatform {

/// What an argument is passed as.
enum class ArgumentKind : std::uint8_t {
    Unused,  ///< a position that no specifier asks for
    Int,     ///< int and what is promoted to it
    Long,    ///< the integers of 64 bits
    Double,
    LongDouble,
    Object,       ///< CFTypeRef
    CString,      ///< const char*
    WideCString,  ///< const wchar_t*
    Units,        ///< const UniChar*, ended by a 0
    Pointer,      ///< any pointer, never followed
};

enum class FormatLength : std::uint8_t { None, Char, Short, Long, LongDouble };

struct FormatSpecifier {
    static constexpr int kNone = -1;

    CFIndex start = 0;  ///< its place in the format
    CFIndex end = 0;
    int width = kNone;
    int precision = kNone;
    int widthArgument = kNone;  ///< indexes of arguments
    int precisionArgument = kNone;
    int argument = kNone;
    char conversion = 0;  ///< 0: no specifier, it stands for itself
    FormatLength length = FormatLength::None;
    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternative = false;
    bool zero = false;
};

struct ParsedFormat {
    explicit ParsedFormat(std::pmr::memory_resource* memory) : specifiers(memory), arguments(memory) {}

    std::pmr::vector<FormatSpecifier> specifiers;  ///< in the order of the format
    std::pmr::vector<ArgumentKind> arguments;      ///< by index
};

/// The highest position a specifier may name, and the widest field and longest precision that are obeyed; a format
/// from outside must not make a program read its stack from end to end or use up its memory.
constexpr int kHighestPosition = 255;
constexpr int kWidestField = 65535;

/// May throw std::bad_alloc.
ParsedFormat parseFormat(TextView format, std::pmr::memory_resource* memory);

/// Whether arguments that suit `valid` can be given to `format`: each argument of `format` is there and of the kind
/// that it asks for, and nothing in `format` looks like a specifier without being one.
bool isCompatible(const ParsedFormat& format, const ParsedFormat& valid) noexcept;

}  // namespace KXPlatform
