// The parts of the page that are the same for every spectrum, made of web/ by cmake/JoinPage.cmake.
#pragma once

#include <string_view>

namespace kiv {

struct PageFile {
    std::string_view text;
    std::string_view digest;  // SHA-256 of the text, as 64 hexadecimal digits
};

/// The frame, with {{policy}}, {{title}}, {{style}}, {{data}} and {{script}} where these go.
const PageFile& PageFrame();
const PageFile& PageStyle();
const PageFile& PageScript();

}  // namespace kiv
