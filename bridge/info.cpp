#include "bridge/info.h"

#include "bridge/topics.h"

namespace bridge {

namespace {

// No text of these holds a character that JSON writes in another way.
void addMember(std::string& text, const char* name, const char* value) {
    text.append("\"").append(name).append("\":\"").append(value).append("\",");
}

}  // namespace

std::string infoText(const char* program, const char* version, const char* kind,
                     const std::string& run) {
    std::string text = "{";
    addMember(text, "program", program);
    addMember(text, "version", version);
    addMember(text, "kind", kind);
    addMember(text, "run", run.c_str());
    return text.append("\"families\":[\"").append(familyList("\",\"")).append("\"]}");
}

}  // namespace bridge
