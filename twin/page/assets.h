// The files of the page, which are part of the program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace twin {

struct Asset {
    std::string_view path;  // "/index.html"
    std::string_view type;  // "text/html; charset=utf-8"
    std::string_view content;
    std::string tag;  // names this content: its ETag
};

// The file at a path, exactly; "/" is the page itself. Null if there is none.
const Asset* findAsset(std::string_view path);

// All of them, as the build has put them in, without tags.
std::vector<Asset> embeddedFiles();

}  // namespace twin
