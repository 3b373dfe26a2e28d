// The bridge's part of a command line, the same for every program that it runs in.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace bridge {

struct Options {
    bool wanted = false;  // --mqtt was given
    bool tls = false;
    std::string host;
    int port = 0;
    std::string name;
    std::string base = "kestrel";
    std::vector<std::string> families = {"lens",   "image", "demo",  "gpio",
                                         "encode", "event", "system"};
    std::string user;
    std::string passwordFile;
    std::string caFile;
    std::string certificateFile;
    std::string keyFile;
    std::string other;  // the last option given that only makes sense with --mqtt
};

struct OptionRow {
    const char* name;
    const char* value;  // how the value is written in the usage
    const char* help;
    bool (*take)(Options&, const char*);
    const char* accepted;  // what a refused value is answered with, after the usage
};

std::span<const OptionRow> optionRows();

// Takes an option's value. Returns false if it is not among the accepted ones.
bool takeOption(Options& options, const OptionRow& row, const char* value);

// What is wrong with the options taken together; empty if nothing is.
std::string optionsProblem(const Options& options);

}  // namespace bridge
