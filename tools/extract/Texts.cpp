// Script commands and markers as text: no state.
#include "tools/extract/Texts.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "tools/common/Output.h"

namespace tool {
namespace {

struct TimedText {
  unsigned long long timeMs;
  std::string type;
  std::string text;
};

using TimedTexts = std::vector<TimedText>;

void SortByTime(TimedTexts* texts) {
  std::stable_sort(texts->begin(), texts->end(),
                   [](const TimedText& a, const TimedText& b) { return a.timeMs < b.timeMs; });
}

unsigned long long WithoutPreroll(const qo_host::FileHeader& header, unsigned long long timeMs) {
  const unsigned long long prerollMs = header.properties ? header.properties->prerollMs : 0;
  return timeMs - std::min(timeMs, prerollMs);
}

// A text is one line wherever it is written.
std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(),
      [](unsigned char character) { return character < ' ' || character == 0x7F; }, ' ');
  return text;
}

TimedTexts Commands(const qo_host::FileHeader& header) {
  TimedTexts texts;
  for (const qo_host::ScriptCommand& command : header.commands) {
    const bool hasType = command.type < header.commandTypes.size();
    texts.push_back({WithoutPreroll(header, command.timeMs),
                     hasType ? OneLine(header.commandTypes[command.type]) : "",
                     OneLine(command.text)});
  }
  SortByTime(&texts);
  return texts;
}

bool IsShown(const TimedText& command) {
  return command.type != "URL" && command.type != "URLANDEXIT" && command.type != "FILENAME" &&
         command.type != "EVENT";
}

std::string SubRipTime(unsigned long long ms) {
  char text[40];
  std::snprintf(text, sizeof(text), "%02llu:%02llu:%02llu,%03llu", ms / 3600000, ms / 60000 % 60,
                ms / 1000 % 60, ms % 1000);
  return text;
}

}  // namespace

std::string CaptionsText(const qo_host::FileHeader& header, unsigned long long endMs) {
  constexpr unsigned long long kLastMs = 5000;
  const TimedTexts commands = Commands(header);
  std::string lines;
  unsigned int number = 0;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    const TimedText& shown = commands[i];
    // An empty text ends the one in front of it.
    if (!IsShown(shown) || shown.text.empty()) continue;
    const auto next = std::find_if(commands.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                   commands.end(), IsShown);
    const unsigned long long last = std::max(endMs, shown.timeMs + kLastMs);
    const unsigned long long end = next != commands.end() ? next->timeMs : last;
    lines += std::to_string(++number) + "\n" + SubRipTime(shown.timeMs) + " --> " +
             SubRipTime(end) + "\n" + shown.text + "\n\n";
  }
  return lines;
}

std::string CommandsText(const qo_host::FileHeader& header) {
  TimedTexts texts = Commands(header);
  for (const qo_host::Marker& marker : header.markers) {
    texts.push_back(
        {WithoutPreroll(header, marker.time / 10000), "marker", OneLine(marker.description)});
  }
  SortByTime(&texts);
  std::string lines;
  for (const TimedText& text : texts)
    lines += TimeText(text.timeMs) + "\t" + text.type + "\t" + text.text + "\n";
  return lines;
}

}  // namespace tool
