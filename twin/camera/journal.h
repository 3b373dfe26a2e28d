// What a run leaves behind should it be killed. DIR/running holds the mechanism as it was noted
// last; the kernel keeps it however the process goes. To DIR/bus the lasting sets are added as they
// come. A run that ends by itself saves both whole and removes DIR/running.
#pragma once

#include <string>
#include <string_view>

#include "twin/camera/texts.h"

namespace twin {

// From here on the camera in `directory` can be killed; `head` is its mechanism now. Returns an
// error text, empty on success.
std::string openJournal(const std::string& directory, const Texts& head);

// Notes the mechanism as it is now, in the place of what was noted before: a kill in the middle
// leaves that. Nothing without an open journal. Any thread.
void noteHead(const Texts& head);

// Notes a set of a lasting key. Nothing without an open journal. Any thread.
void noteSet(std::string_view key, std::string_view value);

// What noteHead notes from here on is lost.
void closeJournal();

// Whether the last run in `directory` was killed.
bool journalLeft(const std::string& directory);

// What that run noted last. False if it cannot be read.
bool readJournal(const std::string& directory, Texts& head);

}  // namespace twin
