// The reference host: one file, opened, described, played out and sought in.
//
// Typical use:
//
//   std::string error;
//   auto library = qo_host::ParserLibrary::Load("", &error);
//   auto file = qo_host::FileSource::OpenPath(path, &error);
//   qo_host::ParserSession session(library->factory(), std::move(file));
//   if (session.Open() != kParserOk) ...
//   while (const qo_host::AccessUnit* unit = session.NextUnit()) ...
//
// A host that links the parser says {createParser, destroyParser} in place of the
// library's factory. The session owns the parser and the byte source, and closes the parser before
// it destroys it, whatever happened. It asks the parser only for the kinds and indices that the
// parser itself named, so it meets none of its fatal assertions. One thread at a time. Nothing that
// the source throws passes through a session: it is a failure, of which a status tells as of any
// other.
#ifndef QO_HOST_PARSERSESSION_H
#define QO_HOST_PARSERSESSION_H

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qo_host/ParserFactory.h"
#include "qo_host/PresentedFile.h"
#include "qo_host/TagText.h"
#include "qo_parser_asf/IParser.h"

namespace qo_host {

class BorrowedSource;

// The kinds of track, by the parser's numbers.
enum class TrackKind : int { kVideo = kTrackVideo, kAudio = kTrackAudio };

// "video" or "audio".
const char* TrackKindName(TrackKind kind);

// A track as the parser describes it, copied; where the file is presented, as the file
// itself has it.
struct Track {
  unsigned int index;  // in the parser's numbering
  TrackKind kind;      // at most one track of each
  TrackInfo info;  // presented, with the real `codec`, also of a tag that the parser doesn't know
  std::optional<AsfTrackExt> bitmap;  // video only
  std::vector<unsigned char> config;  // codec configuration; empty when there is none
  // Where the file is presented: the stream in the file, its number and the format tag or
  // FourCC that its codec goes by (behind WAVE_FORMAT_EXTENSIBLE that of the
  // sub-format).
  std::optional<unsigned char> stream;
  unsigned int codecTag = 0;
};

// How a session opens a file.
struct OpenOptions {
  // The bare parser's view of the file. Otherwise it is presented to the parser in the
  // form that the parser handles well (see PresentedFile.h), and packets are mended as they are
  // read.
  bool asIs = false;
  // Which streams become the tracks; as it is, always the first of each kind.
  StreamChoice streams;
  std::optional<int> mode;  // the parser's OpenEx with this mode
};

// An access unit: what a decoder takes at once.
struct AccessUnit {
  TrackKind kind;             // says which track it is of
  const unsigned char* data;  // in a buffer of the session; valid until a unit of the same kind is
                              // read next, a seek, or Choose
  std::size_t size;           // bytes, at most kMaxAccessUnitBytes
  unsigned long long timeMs;  // from the start of the presentation
  bool isIncomplete;          // its media object lost fragments; never known as it is
  bool isKeyFrame;            // video: as the file flags it, never as it is. audio: always
};

// Whether the time `a` lies before `b`. Times have 32 bits, and one in front of the
// presentation's start wraps to a large number: of two times the nearer way round
// counts.
constexpr bool IsBefore(unsigned long long a, unsigned long long b) {
  return static_cast<int>(static_cast<unsigned int>(a - b)) < 0;
}

// How a seek ended. A kind that failed goes on where it was. Where video fails audio
// isn't sought, goes on as well, and has video's status.
struct SeekStatus {
  // What SeekEx returned for the kind; kParserOk without a track of it.
  int video = kParserOk;
  int audio = kParserOk;
};

// A file being played; see above.
class ParserSession {
 public:
  // The times that Seek tells apart, ms: the parser compares them as signed 32-bit
  // numbers.
  static constexpr unsigned long long kMaxSeekMs = 0x7FFFFFFF;

  // Takes `source` (not null). What `factory` stands on must outlive the session.
  ParserSession(const ParserFactory& factory, std::unique_ptr<IDataSource> source);
  // Close (after a failed Open too), then the parser's destruction; the source goes
  // last.
  ~ParserSession();
  ParserSession(const ParserSession&) = delete;
  ParserSession& operator=(const ParserSession&) = delete;

  // Opens the source with the parser, once; then fetches tracks, configurations,
  // duration and tags. kParserOk, or the parser's or the source's failure (see
  // StatusText): then there are no tracks, tags or units. kParserOutOfRange also where
  // no parser could be made.
  int Open(const OpenOptions& options = {});

  // Changes streams while playing, both kinds at once. A kind whose number is not given,
  // or is that of its stream, goes on with its next unit, none lost or repeated. One that
  // changes goes on with the new stream where the old one was: audio with its first unit
  // at or after the time reached, video with its last key frame at or before it, as an
  // exact seek finds it; without one, at the stream's beginning, as behind Rewind.
  // kNoStream ends a kind. The time reached is that of the last audio unit handed out, or, without
  // one since Open or the last seek, and where audio is at its end, that of the last video unit.
  // Where nothing has been handed out since Open or Rewind, streams begin at their beginning;
  // behind a seek, the next unit's time counts.
  //
  // Reads the packets around that place, back to the key frame, not the whole file.
  // tracks(), durationMs(), presented() and view() are of the new choice then, and what
  // they returned before is no longer valid; the damage told goes on. Memory: one more
  // parser for each kind, at most.
  //
  // kParserOk; kParserUnsupported where there is no choice: not open, as it is, or not
  // presented; kParserOutOfRange for a number that no stream of the kind has; or the
  // parser's or the source's failure. Then nothing has changed.
  int Choose(const StreamChoice& choice);

  // The file's header and the plan by which it is presented; null as it is, and before
  // Open. A plan may say that the parser has the file as it is, and why.
  const PresentedFile* presented() const { return presented_.get(); }

  // At most one audio and one video track, in the parser's order.
  const std::vector<Track>& tracks() const { return tracks_; }
  // The track of a kind; null when there is none.
  const Track* FindTrack(TrackKind kind) const;
  // Ms, preroll removed; 0 before Open, and where the file doesn't say.
  unsigned long long durationMs() const { return durationMs_; }
  // The tags that the file has, in the parser's order; the picture's bytes are
  // in `picture` alone.
  const std::vector<Tag>& tags() const { return tags_; }
  // The cover art; nothing where the file has none.
  const std::optional<Picture>& picture() const { return picture_; }
  // The byte source that the session was made with, and owns. Moving its position
  // between calls on the session does no harm.
  IDataSource* source() const;
  // What the parser reads: the presented file, or the source itself. The same holds.
  IDataSource* view() const;

  // The next access unit of all tracks by time (see IsBefore), video first among
  // equals; null when every track is at its end.
  const AccessUnit* NextUnit();
  // The next access unit of one track; null at its end and without such a track.
  const AccessUnit* NextUnit(TrackKind kind);
  // The unit that NextUnit(kind) will hand out, or null. Video: with `keyFrameOnly`
  // all units in front of the next key frame are dropped, unless one waits that has
  // been looked at before.
  const AccessUnit* PeekUnit(TrackKind kind, bool keyFrameOnly = false);
  // Drops the video unit that waits, if one has been looked at, and then the next
  // media object whole. False at the end and without video.
  bool SkipVideoObject();

  // kParserOk while units may follow; then the status that ended the track:
  // kParserEndOfStream, or what the parser found wrong. The end of the data, a
  // packet that fails and a failing source all end in kParserEndOfStream: to tell
  // them apart, see LastObjectTimes.
  int EndStatus(TrackKind kind) const;

  // Back to the first packet, all tracks. No read, and no failure.
  void Rewind();
  // The same for one track.
  void Rewind(TrackKind kind);

  // SeekEx, video first, then audio, which follows. A time above kMaxSeekMs counts
  // as that. `seekMode` is one of kSeekPreviousSync ..., `modeFlags` kSeekByteMode or
  // 0.
  SeekStatus Seek(unsigned long long timeMs, int seekMode, int modeFlags = 0);

  // SeekEx in time mode: moves one track to the packet at `offset` in the file,
  // without a read. Audio beside video follows video's packet, whatever its offset
  // is, and is refused while that is packet 0; without video it goes one packet
  // further than `offset` says. After Choose video is to be moved before audio. What
  // SeekEx returned; kParserOk without such a track.
  int SeekToOffset(TrackKind kind, unsigned long long offset);

  // A second session, opened as this one was, which reads the same file through
  // `view` (not null; it takes it) and leaves this one alone: what it tries costs
  // nothing here. `*status` (not null) is what its Open returned; null where this
  // session is not open or that failed.
  std::unique_ptr<ParserSession> MakeTwin(std::unique_ptr<IDataSource> view, int* status) const;
  // Goes on reading where `twin`, made by MakeTwin, stands, with its parser and its
  // view. The twin is of no more use but to be destroyed. Units handed out before
  // are no longer valid. What `view` stands on must outlive this session.
  void TakeOver(ParserSession* twin);

 private:
  struct Lane;     // delivery of one kind
  struct Reading;  // a parser, and where it stands

  std::unique_ptr<Lane>& OwnerOf(TrackKind kind) {
    return lanes_[kind == TrackKind::kVideo ? 0 : 1];
  }
  Lane& LaneOf(TrackKind kind) const { return *lanes_[kind == TrackKind::kVideo ? 0 : 1]; }
  int Present(const OpenOptions& options);
  StreamChoice Completed(const StreamChoice& choice) const;
  int Join(ParserSession* next, BorrowedSource* view, const std::vector<TrackKind>& kinds);
  std::optional<unsigned long long> TimeReached();
  void Adopt(ParserSession* twin);
  void Describe();
  void DescribeTruly(Track* track);
  void ReadConfig(unsigned char* buffer, Track* track);
  void ReadTags();

  bool Fill(Lane* lane, bool keyFrameOnly = false);
  bool ReadUnit(Lane* lane, bool keyFrameOnly);
  void Shape(Lane* lane);
  static void Straighten(Lane* lane);
  static bool CutBlock(Lane* lane);
  static const AccessUnit* HandOut(Lane* lane);
  void Restart(TrackKind kind);
  int SeekTrack(TrackKind kind, unsigned long long timeMs, int seekMode, int modeFlags);

  const ParserFactory factory_;
  OpenOptions options_;
  bool isOpen_ = false;
  std::unique_ptr<IDataSource> source_;
  std::shared_ptr<PresentedFile> presented_;  // a twin shares it
  std::shared_ptr<IDataSource> view_;         // of `source_`, as presented; null: that itself
  // The parser that opened the source, where that is not the session's to do: the source
  // is closed with it, at the end, and after all that may read through it.
  std::shared_ptr<Reading> opener_;
  std::shared_ptr<Reading> reading_;  // of `view_`: seeks are made in it
  std::array<std::unique_ptr<Lane>, 2> lanes_;
  std::vector<Track> tracks_;
  std::vector<Tag> tags_;
  std::optional<Picture> picture_;
  unsigned long long durationMs_ = 0;
};

}  // namespace qo_host

#endif  // QO_HOST_PARSERSESSION_H
