// Commands typed at a terminal: line editing, history and completion. Lines that are printed
// meanwhile stand above the one that is typed.
#pragma once

#include <string>

namespace twin {

// Takes over standard input and output, which are a terminal. Once, after powerUp.
void openTerminal();

// Reads a line without its end. False at the end of input, or if the run is over.
bool readTypedLine(std::string& line);

// While a typed command is carried out, SIGINT ends what it waits for and no more.
void executeTyped(void (*execute)(const std::string& line), const std::string& line);

}  // namespace twin
