// A verdict as JSON. No state.
#include "tools/verify/VerdictJson.h"

#include "tools/common/Words.h"

namespace tool {
namespace {

// What the finding names, under names that its code gives a meaning.
Json FindingJson(const qo_host::Finding& finding) {
  Json json;
  const auto set = [&json](const char* name, const auto& value) {
    if (value) json[name] = *value;
  };
  json["code"] = FindingName(finding);
  json["severity"] = SeverityName(finding.severity);
  json["text"] = FindingText(finding);
  if (finding.kind) json["track"] = TrackKindName(*finding.kind);
  if (finding.stream) json["stream"] = finding.stream->number;
  set("packet", finding.packet);
  set("count", finding.count);
  set("total", finding.total);
  set("time_ms", finding.timeMs);
  set("stated", finding.stated);
  set("actual", finding.actual);
  return json;
}

Json TotalsJson(const qo_host::Track& track, const qo_host::TrackTotals& total) {
  Json json = {{"kind", TrackKindName(track.kind)}, {"units", total.units}, {"bytes", total.bytes}};
  json["stream"] = nullptr;
  if (track.stream) json["stream"] = *track.stream;
  json["first_ms"] = json["last_ms"] = nullptr;
  if (total.units == 0) return json;
  json["first_ms"] = total.firstMs;
  json["last_ms"] = total.lastMs;
  return json;
}

}  // namespace

Json VerdictJson(Input* input, const PlayOut& played) {
  Json json = Document(input->path());
  json["verdict"] = JudgementName(played.judgement());
  json["tracks"] = Json::array();
  for (const qo_host::Track& track : input->session().tracks()) {
    json["tracks"].push_back(TotalsJson(track, played.totals.of(track.kind)));
  }
  json["findings"] = Json::array();
  for (const qo_host::Finding& finding : played.verdict.findings) {
    json["findings"].push_back(FindingJson(finding));
  }
  return json;
}

Json UnreadJson(const std::string& path, const std::string& reason) {
  Json json = Document(path);
  json["verdict"] = JudgementName(Judgement::kUnread);
  json["error"] = reason;
  return json;
}

}  // namespace tool
