#pragma once

#include <array>

namespace servetest {

/// Names of instances: everything that paths, XML and command lines give a meaning of its own.
constexpr std::array<const char*, 12> kOddNames = {
    "plain",
    "say \"hello\", she said",
    "a,b=c.d:e/f;g@h%20i?j#k",
    "<tag attr=\"1\">&amp; & &#65; </tag> ]]>",
    "back\\slash \\\" and at the end \\",
    "'single' quotes",
    "  blanks   around  ",
    "tab\tnew\nline\r\nend",
    "Gr\u00fc\u00dfe \u65e5\u672c \U0001F600",
    "",
    "0x10",
    "TRUE",
};

/// A text whose bytes are no UTF-8, as old lists of names have them, and what clients see of it.
constexpr char kLatin1Text[] = "caf\xe9 \"noir\", <5 \xb5m & more";
constexpr char kLatin1TextAsUtf8[] = "caf\u00e9 \"noir\", <5 \u00b5m & more";

}  // namespace servetest
