#include "twin/page/assets.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

namespace twin {

namespace {

// FNV-1a, 64 bits.
std::string tagOf(std::string_view content) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : content) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "\"%016" PRIx64 "\"", hash);
    return text.data();
}

const std::vector<Asset>& assets() {
    static const std::vector<Asset> files = [] {
        std::vector<Asset> embedded = embeddedFiles();
        for (Asset& asset : embedded) {
            asset.tag = tagOf(asset.content);
        }
        return embedded;
    }();
    return files;
}

}  // namespace

const Asset* findAsset(std::string_view path) {
    const std::string_view wanted = path == "/" ? "/index.html" : path;
    const auto found = std::find_if(assets().begin(), assets().end(),
                                    [wanted](const Asset& asset) { return asset.path == wanted; });
    return found == assets().end() ? nullptr : &*found;
}

}  // namespace twin
