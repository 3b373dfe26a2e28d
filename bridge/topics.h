// What the bridge says and hears on the broker: the head's topics, and which keys of the bus have
// one. Every function may be called from any thread once useTopics has been.
#pragma once

#include <string>
#include <string_view>

#include "bridge/options.h"

namespace bridge {

// Takes base, name and families from the options. Once, before anything else here.
void useTopics(const Options& options);

// BASE/NAME/ and `levels` behind it.
std::string topicOf(std::string_view levels);

// The topic that tells the key's value.
std::string busTopic(std::string_view key);

// The topic on which the key is set.
std::string setTopic(std::string_view key);

// What stands behind BASE/NAME/; nothing if the topic is not the head's.
std::string_view ownLevels(std::string_view topic);

// The key of levels that stand behind bus/ or set/: slashes become dots.
std::string keyOf(std::string_view levels);

// The key as the bus names it: cam1 is camN.
std::string canonical(std::string_view key);

// The key is of a family that is forwarded.
bool isForwarded(std::string_view key);

// The key can be told by a topic: UTF-8 without / + # and control characters.
bool fitsTopic(const std::string& key);

// The key holds words that are obeyed once, and no state: it is never retained.
bool isMomentary(std::string_view key);

// Heads speak or listen there, this one or another: no place for an answer to a set.
bool isHeadsTopic(std::string_view topic);

// The families, with `separator` between.
std::string familyList(std::string_view separator);

// The text on one line of plain characters, cut where it is longer than a topic should be.
std::string printable(std::string_view text);

}  // namespace bridge
