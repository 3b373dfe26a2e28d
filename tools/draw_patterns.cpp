// Draws what the LEDs show as SVG pictures, from the daemon's own routines: draw_patterns FOLDER
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "lighting/led_words.h"
#include "lighting/patterns.h"
#include "lighting/position_lights.h"

namespace {

constexpr int kLeft = 110;
constexpr int kWidth = 800;
constexpr int kRight = 30;
constexpr int kRow = 12;
constexpr int kTitle = 26;
constexpr int kScale = 30;

constexpr const char* kPlaces[] = {"back left", "front left", "front right", "back right"};

struct Panel {
    std::string title;
    std::vector<std::string> rowNames;
    int rowsPerName;
    std::int32_t columns;
    std::int32_t tickDistance;
    const char* columnUnit;
    // What is in a row at a column.
    std::function<LedWord(int row, std::int32_t column)> word;

    int rows() const {
        return static_cast<int>(rowNames.size()) * rowsPerName;
    }
    int height() const {
        return kTitle + rows() * kRow + kScale;
    }
};

// The eye sees the white channel on top of the coloured ones, and a quarter of the light as half as
// bright.
unsigned seen(LedWord channel, LedWord white) {
    const double level = static_cast<double>(std::min<LedWord>(channel + white, 255)) / 255;
    return static_cast<unsigned>(std::lround(255 * std::sqrt(level)));
}

std::string shade(LedWord word) {
    const LedWord white = word >> 24;
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", seen(word >> 16 & 0xFF, white),
                  seen(word >> 8 & 0xFF, white), seen(word & 0xFF, white));
    return text;
}

double across(const Panel& panel, std::int32_t column) {
    return kLeft + static_cast<double>(kWidth) * column / panel.columns;
}

void label(std::ostream& svg, double x, double y, const char* anchor, const std::string& text) {
    svg << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\">" << text
        << "</text>\n";
}

// One rectangle for every run of equal words.
void drawRow(std::ostream& svg, const Panel& panel, int row, int y) {
    for (std::int32_t from = 0, to = 0; from < panel.columns; from = to) {
        const LedWord word = panel.word(row, from);
        while (to < panel.columns && panel.word(row, to) == word) {
            ++to;
        }
        svg << "<rect x=\"" << across(panel, from) << "\" y=\"" << y << "\" width=\""
            << across(panel, to) - across(panel, from) << "\" height=\"" << kRow - 1 << "\" fill=\""
            << shade(word) << "\"/>\n";
    }
}

void drawPanel(std::ostream& svg, const Panel& panel, int top) {
    svg << "<text class=\"title\" x=\"" << kLeft << "\" y=\"" << top + 18 << "\">" << panel.title
        << "</text>\n";
    const int first = top + kTitle;
    svg << "<rect x=\"" << kLeft - 1 << "\" y=\"" << first - 1 << "\" width=\"" << kWidth + 2
        << "\" height=\"" << panel.rows() * kRow + 1 << "\" fill=\"#8a9099\"/>\n";
    for (int row = 0; row < panel.rows(); ++row) {
        drawRow(svg, panel, row, first + row * kRow);
    }
    const int nameHeight = panel.rowsPerName * kRow;
    for (std::size_t name = 0; name < panel.rowNames.size(); ++name) {
        const double middle = first + (static_cast<double>(name) + 0.5) * nameHeight;
        label(svg, kLeft - 8, middle + 4, "end", panel.rowNames[name]);
    }
    const int bottom = first + panel.rows() * kRow;
    for (std::int32_t tick = 0; tick <= panel.columns; tick += panel.tickDistance) {
        label(svg, across(panel, tick), bottom + 14, "middle", std::to_string(tick));
    }
    label(svg, kLeft - 8, bottom + 14, "end", panel.columnUnit);
}

bool writePicture(const std::string& path, const std::vector<Panel>& panels) {
    int height = 10;
    for (const Panel& panel : panels) {
        height += panel.height();
    }
    std::ofstream svg(path);
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kLeft + kWidth + kRight
        << "\" height=\"" << height
        << "\" font-family=\"sans-serif\" font-size=\"11\" fill=\"#24292f\">\n"
        << "<style>.title { font-size: 13px; font-weight: bold; }</style>\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
    int top = 0;
    for (const Panel& panel : panels) {
        drawPanel(svg, panel, top);
        top += panel.height();
    }
    svg << "</svg>\n";
    return svg.flush().good();
}

// The eight LEDs over one cycle of steps.
Panel ledPanel(const std::string& title,
               const std::function<void(std::int32_t step, LedWords& words)>& draw) {
    const auto word = [draw](int row, std::int32_t step) {
        LedWords words = {};
        draw(step, words);
        return words[static_cast<std::size_t>(row)];
    };
    return {title, {kPlaces, kPlaces + 4}, 2, kCycleSteps, 20, "step", word};
}

std::vector<Panel> lightPanels() {
    const std::vector<std::string> states = {"off", "on", "slow", "medium", "fast"};
    const std::vector<std::string> colors = {"white", "green", "yellow", "red", "blue", "dark"};
    const std::vector<std::string> levels = {"high", "medium", "low"};
    const std::vector<std::string> places(kPlaces, kPlaces + 4);
    return {
        {"State of a light", states, 1, kCycleSteps, 20, "step",
         [](int row, std::int32_t step) { return lightWord(row, 0, 255, step); }},
        {"Color of a light", colors, 1, kCycleSteps, 20, "step",
         [](int row, std::int32_t step) { return lightWord(1, row, 255, step); }},
        {"Brightness of a light", levels, 1, kCycleSteps, 20, "step",
         [](int row, std::int32_t step) {
             constexpr std::int32_t kLevels[] = {255, 64, 32};
             return lightWord(1, 0, kLevels[row], step);
         }},
        {"Lights that the head would see, dimmed, by pan position", places, 1, 44334, 5000, "pan",
         [](int row, std::int32_t pan) {
             return (LightDimMask(pan, 4000, 12000) >> row & 1) != 0 ? 0x20000000 : kLedWhite;
         }},
    };
}

std::vector<Panel> eventPanels() {
    std::vector<Panel> panels;
    for (std::int32_t event = 1; event <= 10; ++event) {
        panels.push_back(
            ledPanel("Event " + std::to_string(event), [event](std::int32_t step, LedWords& words) {
                drawEventPattern(event, step, 100, 255, words);
            }));
    }
    return panels;
}

std::vector<Panel> demoPanels() {
    std::vector<Panel> panels;
    for (std::int32_t mode = 1; mode <= 10; ++mode) {
        // Mode 6 lights the LEDs by way of the manual color.
        if (mode != 6) {
            panels.push_back(ledPanel("Demo mode " + std::to_string(mode),
                                      [mode](std::int32_t step, LedWords& words) {
                                          drawDemoPattern(mode, step, words);
                                      }));
        }
    }
    return panels;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: draw_patterns FOLDER\n";
        return 2;
    }
    const std::string folder = arguments[1];
    const bool written = writePicture(folder + "/lights.svg", lightPanels()) &&
                         writePicture(folder + "/events.svg", eventPanels()) &&
                         writePicture(folder + "/demo-modes.svg", demoPanels());
    if (!written) {
        std::cerr << "draw_patterns: cannot write below " << folder << '\n';
    }
    return written ? 0 : 1;
}
