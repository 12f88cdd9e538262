// The demultiplexer as a host sees it.
//
// Legal order of calls on one parser, from one thread at a time:
//
//   state        | call                          | next state
//   -------------|-------------------------------|---------------------------------
//   (none)       | createParser                  | constructed
//   constructed  | Open or OpenEx, once          | opened; after a failure: failed
//   opened       | any operation below           | opened
//   opened,      | Close                         | closed: every pointer the parser
//     failed     |                               |   ever returned is invalid
//   closed       | Close                         | closed; closes the source again
//   any          | destroyParser                 | destroyed; without Close before
//                |                               |   it, what Open allocated leaks
//
// One parser reads one file; a second file takes a second parser.
//
// Three operations end the process with a fatal assertion when the file has no
// track of their kind: GetAudioConfig, GetVideoConfig and SelectAudioTrack with
// an index that GetTrackInfo did not name as audio. GetAudioData and
// GetVideoData do the same on some malformed files without such a track. A host
// that calls them only for kinds and indices that GetTrackInfo named never
// meets one.
//
// Times are milliseconds from the start of the presentation (preroll removed).
// No operation throws. Where memory runs out an operation returns
// kParserOutOfRange (a pointer: null, a count: 0), and what was there before stays:
// units that are queued come with the next calls, and the first video unit after a
// seek is a key frame still. The rest of the packet in hand is not read.
//
// The order of the virtual functions is the binary interface: never reorder,
// insert or remove one.
#ifndef QO_IPARSER_H
#define QO_IPARSER_H

#include "IDataSource.h"
#include "MetaInfo.h"
#include "ParserStatus.h"
#include "TrackInfo.h"

namespace android {
class String8;
}
struct PiffInfo;

// Seek modes of SeekEx, for files with an index; without one all go by an estimate.
constexpr int kSeekPreviousSync = 0;  // a key frame before the time, not always the last one
constexpr int kSeekNextSync = 1;      // a key frame behind the time, where one is found
constexpr int kSeekClosestSync = 2;   // the nearer one of these two
constexpr int kSeekClosest = 3;       // the same

// Mode flags of SeekEx. When kSeekByteMode is set kSeekTimeMode is ignored.
constexpr int kSeekByteMode = 1;  // take the index entry's packet without reading it
constexpr int kSeekTimeMode = 2;  // take the packet at the offset that the host found

// The largest access unit in bytes, and so the size of the buffer that a host
// hands to GetAudioData and GetVideoData.
constexpr unsigned long kMaxAccessUnitBytes = 0x100000;

// A parser of one file; see above for the order of calls.
class IParser {
 public:
  // Slots 0 and 1. A host calls destroyParser instead.
  virtual ~IParser() = default;

  // Slot 2. Reads the header, the index behind the data and the packet length.
  // `source` (not null) is the host's and must live until the last Close has
  // returned.
  // 0: opened; a file without audio or video opens too, with no tracks.
  // kParserUnsupported: the content is encrypted. kParserOutOfRange: a size in
  // the header is out of range. kParserMalformed: a header object that cannot be
  // stepped over. Otherwise the source's failure. After a failure only Close and
  // destroyParser make sense.
  virtual int Open(IDataSource* source) = 0;

  // Slot 3. Does nothing; returns 0.
  virtual int OpenForSmoothStreaming(IDataSource*, PiffInfo*) { return 0; }

  // Slot 4. Number of tracks: at most one audio and one video. 0 before Open and
  // after Close. Track indices run from 0 to this number less 1.
  virtual unsigned int GetTrackCount() = 0;

  // Slot 5. Stores the duration in ms in `*durationMs` (not null); 0 where the
  // file says less than its preroll. Always returns 0.
  virtual int GetDurationMs(unsigned long* durationMs) = 0;

  // Slot 6. Describes the track `index`. The record is the parser's and valid
  // until Close; repeated calls return the same record. Null when there is no
  // such track, or when memory ran out or the source threw: the next call then
  // describes it anew. Describing an AC-3 track reads up to 50 packets and may leave
  // audio at its end: rewind it with Seek before reading.
  virtual TrackInfo* GetTrackInfo(unsigned long index) = 0;

  // Slot 7. The tags; null before Open and after Close. Valid until Close.
  virtual meta_info* GetMetaInfo() = 0;

  // Slot 8. Copies the audio codec configuration, at most `capacity` bytes, to
  // `buffer` (not null where there is a configuration) and stores its size in
  // `*size` (not null; 0 when the track has none). 0, or kParserMalformed when
  // `capacity` is too small: nothing is copied and `*size` is the size needed.
  virtual int GetAudioConfig(unsigned char* buffer, unsigned long* size,
                             unsigned long capacity) = 0;

  // Slot 9. Copies the next audio access unit to `buffer` and stores its size in
  // bytes and its time in ms. `buffer` must hold kMaxAccessUnitBytes: `capacity`
  // is not looked at. No pointer may be null. 0: delivered.
  // kParserEndOfStream: nothing is left, until a seek. kParserOutOfRange: memory
  // ran out, the next call goes on. kParserInternal: no unit
  // could be located in the queued data.
  virtual int GetAudioData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                           unsigned long capacity) = 0;

  // Slot 10. The same as GetAudioConfig for the video track. For VC-1 it also
  // reads the sequence header that key frame detection relies on: call it
  // before a seek.
  virtual int GetVideoConfig(unsigned char* buffer, unsigned long* size,
                             unsigned long capacity) = 0;

  // Slot 11. The same as GetAudioData for video. `keyFrameOnly` drops everything
  // that is no key frame; the first unit after a seek is always one. AVC comes
  // as one NAL unit per call behind a 00 00 00 01 start code (a media object that
  // has start codes already: whole), MPEG-1/2 as one picture per call. A unit is put
  // together in `buffer`, so that bytes behind it, or of a unit that didn't come to be,
  // may change. 0, kParserEndOfStream or kParserOutOfRange.
  virtual int GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                           unsigned long capacity, bool keyFrameOnly) = 0;

  // Slot 12. Rewinds the track of type `trackType` to packet 0, whatever the
  // other arguments. Always returns 0.
  virtual int Seek(unsigned long timeMs, int trackType, int mode) = 0;

  // Slot 13. Does nothing; returns 0.
  virtual int SetConfig() = 0;

  // Slot 14. Makes the track `index` the current audio track; queued audio is
  // dropped, reading goes on at the current packet. The one audio track is current
  // from Open on, so that there is nothing to select: for the current index, and for
  // one that no audio stream has, nothing happens. The audio streams that Open
  // dropped have one, the number of tracks before them in the header; it takes the
  // stream's position in the header for a track's. Audio then reads that track, for
  // instance the video (index 1 where the streams are audio, audio, video), or the
  // process ends where there is no such track. Always returns 0.
  virtual int SelectAudioTrack(int index) = 0;

  // Slot 15. Does nothing; returns 0.
  virtual int SelectTextTrack(int) { return 0; }
  // Slot 16. The same.
  virtual int Notify(unsigned short event, unsigned long argument) = 0;
  // Slot 17. The same.
  virtual long GetMetaData(const char*, char*, unsigned long) { return 0; }
  // Slot 18. The same.
  virtual long GetParameter(unsigned long, void*, unsigned long long) { return 0; }
  // Slot 19. The same.
  virtual long SetParameter(unsigned long, void*, unsigned long long) { return 0; }

  // Slot 20. Cover art comes as the META_ALBUM_ART tag, not from here: stores 0
  // in `*size` (not null) and returns null.
  virtual unsigned char* GetAlbumArt(unsigned long* size) {
    *size = 0;
    return nullptr;
  }

  // Slot 21. Does nothing; returns 0.
  virtual int ParseIndexData(unsigned long long) { return 0; }
  // Slot 22. The same.
  virtual long long GetNextVideoKeyFrameTime(unsigned long timeMs) = 0;

  // Slot 23. Closes the source that Open was given, if any, each time anew, so that
  // the source outlives the last Close; and frees what Open and reading allocated.
  // Legal in any state; always returns 0. Pointers that the parser returned are
  // invalid afterwards, counts are 0, reading is at its end.
  virtual int Close() = 0;

  // Slot 24. The parser's name, "ASFParser"; a constant, valid for ever.
  virtual const char* getName() = 0;

  // Slot 25. The bitmap header of the video track, filled once that track is
  // described. Null before Open and after Close; valid until Close.
  virtual AsfTrackExt* getExtraInterface() = 0;

  // Slot 26. Does nothing; returns 0.
  virtual int GetTextConfig(unsigned char*, unsigned long*, unsigned long, unsigned long) {
    return 0;
  }
  // Slot 27. The same.
  virtual int GetTextData(unsigned char*, unsigned long*, unsigned long*, unsigned long) {
    return 0;
  }
  // Slot 28. The same.
  virtual long GetMetaDataEx(MetaDataType, android::String8*, unsigned long*) { return 0; }
  // Slot 29. The same.
  virtual long GetMetaDataEx(MetaDataType, char*, unsigned long*) { return 0; }
  // Slot 30. The same.
  virtual long GetSeekPointCount() { return 0; }

  // Slot 31. Open with a mode, a sum of bits: with 2 or 4 in it (2, 4, 6, 7, ...) nothing
  // behind the data is read, so that the file has no index. Every other mode is Open.
  virtual int OpenEx(IDataSource* source, int mode) = 0;

  // Slot 32. Moves reading of the track of type `trackType` near `timeMs`. Seek
  // video first, then audio: audio then starts at the video's packet.
  //   modeFlags   kSeekByteMode, kSeekTimeMode or 0
  //   isScanMode  not 0: fast scan
  //   offset      time mode only: the byte offset in the file that the host
  //               itself found for `timeMs`
  //   seekMode    kSeekPreviousSync ... kSeekClosest
  // 0, or with the track's cursor, queue and end left as they were:
  // kParserUnsupported (time mode without a usable offset, or audio without a video
  // packet to follow), kParserInternal (unknown track type in time mode), the
  // failure of reading an indexed packet, or that packet's time where it is 2^31 ms
  // or more and so negative as a status.
  // Success or not, a packet that is looked at and declares a length below the
  // header's smallest packet size or above its largest makes that size the packet
  // length, as reading it does: all packets are then looked for at multiples of it.
  virtual int SeekEx(unsigned long timeMs, int trackType, int modeFlags, int isScanMode,
                     unsigned long long offset, int seekMode) = 0;

  // Slot 33. The next video media object whole: no key frame gate, no splitting.
  virtual int GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                           unsigned long capacity) = 0;
};

// Makes a parser; null when memory runs out. The caller destroys it with
// destroyParser, after Close.
extern "C" IParser* createParser();

// Destroys a parser made by createParser. Null is ignored.
extern "C" void destroyParser(IParser* parser);

#endif  // QO_IPARSER_H
