#include "twin/camera/heading.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "twin/boundary/files.h"
#include "twin/camera/place.h"
#include "twin/camera/texts.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

Texts optionsOf(const SessionOptions& options) {
    Texts texts;
    texts["clock"] = options.virtualClock ? "virtual" : "real";
    texts["seed"] = std::to_string(options.camera.seed);
    if (!options.virtualClock) {
        std::array<char, 32> speed{};
        std::snprintf(speed.data(), speed.size(), "%g", options.speed);
        texts["speed"] = speed.data();
    }
    if (options.camera.lensType) {
        texts["lens-type"] = std::to_string(*options.camera.lensType);
    }
    if (!options.camera.mount.empty()) {
        texts["mount"] = options.camera.mount;
    }
    if (options.output.quiet) {
        texts["quiet"] = "yes";
    }
    return texts;
}

// The camera's files by their path there, but for those with which every new one is shipped.
Texts filesOf(bool newCamera) {
    Texts files;
    const std::string root = placeOfCamera() + "/root";
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator entry(root, error), end;
         !error && entry != end; entry.increment(error)) {
        if (!entry->is_regular_file(error)) {
            continue;
        }
        const std::string path = entry->path().string().substr(root.size());
        std::ifstream stream(entry->path(), std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(stream), {});
        if (!newCamera || !isShipped(path, content)) {
            files[path] = content;
        }
    }
    return files;
}

void write(const char* section, const Texts& entries) {
    for (const auto& [name, value] : entries) {
        std::string line = textLine(name, value);
        line.pop_back();
        remark(std::string(section) + " " + line);
    }
}

}  // namespace

void writeHeading(const SessionOptions& options, const SavedState& state) {
    if (!options.output.trace) {
        return;
    }
    remark(std::string(KESTREL_VERSION) + " " + kRecordingFormat);
    write("option", optionsOf(options));
    write("head", state.head);
    write("bus", state.bus);
    write("file", filesOf(state.newCamera));
}

}  // namespace twin
