// The reference host: one file, opened, described, played out and sought in
// through the shared library.
//
// Typical use:
//
//   std::string error;
//   auto library = host::ParserLibrary::Load("", &error);
//   auto file = host::FileSource::OpenPath(path, &error);
//   host::ParserSession session(*library, std::move(file));
//   if (session.Open() != kParserOk) ...
//   while (const host::AccessUnit* unit = session.NextUnit()) ...
//
// It owns the parser and the byte source, and closes the parser before it
// destroys it, whatever happened. It asks the parser only for the kinds and
// indices that the parser itself named, so it meets none of its fatal
// assertions. One thread at a time.
#ifndef QO_HOST_PARSERSESSION_H
#define QO_HOST_PARSERSESSION_H

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/AsfLayout.h"
#include "host/PacketWalk.h"
#include "host/ParserLibrary.h"
#include "host/TagText.h"
#include "qo_parser_asf/IParser.h"

namespace host {

enum class TrackKind : int { kVideo = kTrackVideo, kAudio = kTrackAudio };

// "video" or "audio".
const char* TrackKindName(TrackKind kind);

// A track as the parser describes it, copied.
struct Track {
  unsigned int index;  // in the parser's numbering
  TrackKind kind;
  TrackInfo info;
  std::optional<AsfTrackExt> bitmap;  // video only
  std::vector<unsigned char> config;  // codec configuration; empty when there is none
};

// An access unit. `data` lies in a buffer of the session and stays valid until a
// unit of the same kind is read next, or a seek.
struct AccessUnit {
  TrackKind kind;
  const unsigned char* data;
  std::size_t size;           // bytes, at most kMaxAccessUnitBytes
  unsigned long long timeMs;  // from the start of the presentation
};

// What SeekEx returned for each kind; kParserOk for a kind without a track. A
// kind that failed goes on where it was.
struct SeekStatus {
  int video = kParserOk;
  int audio = kParserOk;
};

// The end of an exact seek.
struct ExactSeek {
  enum class Outcome {
    kFound,          // the next unit is the last key frame at or before the target
    kNothingBefore,  // there is none: reading starts at the beginning of the file
    kCancelled,      // by the progress callback; reading goes on where it was
    kFailed,         // `problem` says why; reading goes on where it was
  };
  Outcome outcome;
  unsigned long long packet;  // kFound: the packet in which the unit's media object begins
  unsigned long long timeMs;  // kFound: the unit's time
  std::string problem;
};

class ParserSession {
 public:
  // Takes `source` (not null). `library` must outlive the session.
  ParserSession(const ParserLibrary& library, std::unique_ptr<IDataSource> source);
  // Close (after a failed Open too), then destroyParser; the source goes last.
  ~ParserSession();
  ParserSession(const ParserSession&) = delete;
  ParserSession& operator=(const ParserSession&) = delete;

  // Opens the source with the parser, once, by OpenEx where `mode` is given; then
  // fetches tracks, configurations, duration and tags. kParserOk, or the
  // parser's failure (see StatusText): then there are no tracks, tags or units.
  int Open(std::optional<int> mode = std::nullopt);

  // In words for a person what a failed Open means, "the content is encrypted"
  // for instance.
  static std::string StatusText(int status);

  // At most one audio and one video track, in the parser's order.
  const std::vector<Track>& tracks() const { return tracks_; }
  // The track of a kind; null when there is none.
  const Track* FindTrack(TrackKind kind) const;
  unsigned long long durationMs() const { return durationMs_; }
  // The tags that the file has, in the parser's order; the picture's bytes are
  // in `picture` alone.
  const std::vector<Tag>& tags() const { return tags_; }
  const std::optional<Picture>& picture() const { return picture_; }
  // The byte source; owned by the session. Moving its position between calls on
  // the session does no harm.
  IDataSource* source() const { return source_.get(); }

  // The next access unit of all tracks by time, video first among equals; null
  // when every track is at its end.
  const AccessUnit* NextUnit();
  // The next access unit of one track; null at its end and without such a track.
  const AccessUnit* NextUnit(TrackKind kind);

  // kParserOk while units may follow; then the status that ended the track:
  // kParserEndOfStream, or what the parser found wrong. The end of the data, a
  // packet that fails and a failing source all end in kParserEndOfStream: to tell
  // them apart, see LastObjectTimes.
  int EndStatus(TrackKind kind) const;

  // Back to the first packet, all tracks.
  void Rewind();

  // SeekEx, video first, then audio, which follows. `seekMode` is one of
  // kSeekPreviousSync ..., `modeFlags` kSeekByteMode or 0.
  SeekStatus Seek(unsigned long long timeMs, int seekMode, int modeFlags = 0);

  // Seeks to the last key frame at or before `timeMs`, whether or not the file
  // has an index; without video, to the last audio unit at or before it. Units
  // before that one are dropped, so that NextUnit hands it out first. The first
  // such seek walks all packet headers and keeps what it learns; `progress` may
  // be empty.
  ExactSeek SeekExact(unsigned long long timeMs, const SeekPoints::Progress& progress = {});

 private:
  // Delivery of one kind.
  struct Lane {
    const Track* track = nullptr;             // null: no such track, and nothing is ever asked
    std::unique_ptr<unsigned char[]> buffer;  // kMaxAccessUnitBytes
    AccessUnit unit{};
    bool pending = false;  // `unit` has been read but not handed out
    int endStatus = kParserOk;
  };

  Lane& LaneOf(TrackKind kind) { return lanes_[kind == TrackKind::kVideo ? 0 : 1]; }
  const Lane& LaneOf(TrackKind kind) const { return lanes_[kind == TrackKind::kVideo ? 0 : 1]; }

  void Describe();
  void ReadConfig(unsigned char* buffer, Track* track);
  void ReadTags();

  bool Fill(TrackKind kind, bool keyFrameOnly = false);
  static const AccessUnit* HandOut(Lane& lane);
  void Restart(TrackKind kind);
  int SeekTrack(TrackKind kind, unsigned long long timeMs, int modeFlags, unsigned long long offset,
                int seekMode);

  // The exact seek. Those that return a bool have set `result` when they fail;
  // an outcome of kNothingBefore stands until something is found.
  struct UnitMark {
    unsigned long long timeMs;
    unsigned int count;  // which of the units of this time in a row, from 1
  };
  bool LearnPoints(const SeekPoints::Progress& progress, ExactSeek* result);
  bool SeekToPacket(unsigned long long packet, ExactSeek* result);
  bool SeekVideoExact(std::size_t best, unsigned long long timeMs, ExactSeek* result);
  std::optional<std::size_t> ScanKeyFrames(std::size_t from, std::size_t last,
                                           unsigned long long timeMs);
  bool SeekAudioExact(std::size_t best, unsigned long long timeMs, ExactSeek* result);
  std::optional<UnitMark> LastAudioUnit(unsigned long long timeMs);
  bool DropAudioUntil(UnitMark mark);
  void SettleOn(TrackKind kind, unsigned long long packet, ExactSeek* result);

  // Order matters: the parser goes before the source that it reads.
  std::unique_ptr<IDataSource> source_;
  ParserLibrary::Parser parser_;
  std::vector<Track> tracks_;
  std::vector<Tag> tags_;
  std::optional<Picture> picture_;
  unsigned long long durationMs_ = 0;
  std::array<Lane, 2> lanes_;
  // Learned by the first exact seek.
  AsfLayout layout_;
  std::optional<SeekPoints> seekPoints_;
};

}  // namespace host

#endif  // QO_HOST_PARSERSESSION_H
