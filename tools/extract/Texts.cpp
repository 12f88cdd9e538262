// Script commands and markers as text: no state.
#include "tools/extract/Texts.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <utility>

#include "tools/common/Output.h"

namespace tool {
namespace {

using TimedTexts = std::vector<TimedText>;

TimedTexts Sorted(TimedTexts texts) {
  std::stable_sort(texts.begin(), texts.end(),
                   [](const TimedText& a, const TimedText& b) { return a.timeMs < b.timeMs; });
  return texts;
}

// A text is one line wherever it is written.
std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(),
      [](unsigned char character) { return character < ' ' || character == 0x7F; }, ' ');
  return text;
}

bool IsShown(const TimedText& command) {
  return command.type != "URL" && command.type != "URLANDEXIT" && command.type != "FILENAME" &&
         command.type != "EVENT";
}

std::string SubRipTime(unsigned long long ms) {
  char text[48];
  std::snprintf(text, sizeof(text), "%02llu:%02llu:%02llu,%03llu", ms / 3600000, ms / 60000 % 60,
                ms / 1000 % 60, ms % 1000);
  return text;
}

}  // namespace

std::string CaptionsText(const std::vector<TimedText>& commands, unsigned long long endMs) {
  constexpr unsigned long long kLastMs = 5000;
  TimedTexts shown = Sorted(commands);
  shown.erase(std::remove_if(shown.begin(), shown.end(), std::not_fn(IsShown)), shown.end());
  std::string lines;
  unsigned int number = 0;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    // An empty text ends the one in front of it.
    if (shown[i].text.empty()) continue;
    const unsigned long long last = std::max(endMs, shown[i].timeMs + kLastMs);
    const unsigned long long end = i + 1 < shown.size() ? shown[i + 1].timeMs : last;
    lines += std::to_string(++number) + "\n" + SubRipTime(shown[i].timeMs) + " --> " +
             SubRipTime(end) + "\n" + OneLine(shown[i].text) + "\n\n";
  }
  return lines;
}

std::string CommandsText(const FileFacts& facts) {
  TimedTexts texts = facts.commands;
  for (const TimedText& marker : facts.markers)
    texts.push_back({marker.timeMs, "marker", marker.text});
  std::string lines;
  for (const TimedText& text : Sorted(std::move(texts)))
    lines += TimeText(text.timeMs) + "\t" + OneLine(text.type) + "\t" + OneLine(text.text) + "\n";
  return lines;
}

}  // namespace tool
