#include "paths.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

const char* const kTwinProgram = KESTREL_TWIN_PATH;
const char* const kServiceProgram = KESTREL_SERVICE_PATH;
const char* const kPatrolProgram = KESTREL_PATROL_PATH;
const char* const kRecordings = KESTREL_RECORDINGS;

std::string sourcePath(const std::string& file) {
    return KESTREL_SOURCE_DIR "/" + file;
}

std::string readSource(const std::string& file) {
    std::ifstream stream(sourcePath(file));
    EXPECT_TRUE(stream.good()) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}
