// The files of the page, as the build has put them into the program.
#pragma once

#include <span>
#include <string_view>

struct PageFile {
    const char* path;  // "/page.js"
    const char* type;  // "text/javascript; charset=utf-8"
    std::string_view text;
};

std::span<const PageFile> pageFiles();
