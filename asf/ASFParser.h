// The demultiplexer: one object reads one ASF file.
//
// Contents, in the order in which a file is played, with the source of each:
//
//   life cycle and state          ParserState.cpp
//   opening a file                OpenSequence.cpp, HeaderObjects.cpp,
//                                 TrailingObjects.cpp
//   header extension and tags     HeaderExtension.cpp, Metadata.cpp
//   describing the tracks         TrackDescription.cpp, Eac3Probe.cpp, CodecConfig.cpp
//   data packets                  PacketHeader.cpp, PacketDemux.cpp
//   queues of media objects       MediaQueues.cpp
//   delivery                      Lane.cpp, AudioDelivery.cpp, VideoDelivery.cpp,
//                                 KeyFrames.cpp
//   seeking                       PacketTime.cpp, StartPacket.cpp, Seek.cpp
//   track selection               TrackSelection.cpp
//
// What the machinery of a source works on is a class inside that source, which
// holds the parser; this header names it in one line. Two of them serve several
// sources and have a header: PacketCursor.h, a data packet being walked, and
// Lane.h, what audio and video delivery have in common.
//
// Leaves that know nothing of the parser: asf/format/ (what the file format says),
// AsfRecords and MediaQueue (records and their owners), UnitCopy, Log,
// ExceptionBarrier; Globals, Export and FreeFunctions belong to what the library
// exports.
//
// Exported operations that allocate or call the byte source run in m_Barrier, so
// that no exception leaves the library. Statuses are those of ParserStatus.h.
// Audio and video are read independently: each has its own packet cursor, queue,
// access unit table and end mark.
#ifndef QO_ASF_ASFPARSER_H
#define QO_ASF_ASFPARSER_H

#include <vector>

#include "asf/AsfRecords.h"
#include "asf/ExceptionBarrier.h"
#include "asf/Export.h"
#include "asf/FreeFunctions.h"
#include "asf/MediaQueue.h"
#include "asf/format/PacketFields.h"
#include "asf/format/SourceReader.h"
#include "qo_parser_asf/IParser.h"

class QO_EXPORT ASFParser final : public IParser {
 public:
  // --- Life cycle and state ------------------------------------ ParserState.cpp

  // Reads the debug level from the system property "qocp.debug.level".
  ASFParser();
  // Destroys the containers only: Close frees what Open allocated.
  ~ASFParser() override;
  ASFParser(const ASFParser&) = delete;
  ASFParser& operator=(const ASFParser&) = delete;

  int Close() override;
  unsigned int GetTrackCount() override;
  int GetDurationMs(unsigned long* durationMs) override;
  const char* getName() override;
  AsfTrackExt* getExtraInterface() override;
  // Inert entry points; return 0.
  int SetConfig() override;
  int Notify(unsigned short event, unsigned long argument) override;
  long long GetNextVideoKeyFrameTime(unsigned long timeMs) override;
  int GetStartPacketNum(unsigned long timeMs, int trackType);

  // --- Opening a file ----------------------------------------- OpenSequence.cpp

  int Open(IDataSource* source) override;
  int OpenEx(IDataSource* source, int mode) override;
  // Reads the data object's header and finds data packet 0. 0 or the source's
  // failure.
  int PreparseDataObjects();
  // Measures the packet length from packet 0: 1 when one was examined,
  // kParserEndOfStream without a packet, or the source's failure.
  int SetDataPacketLen();

  // HeaderObjects.cpp: reads the header object. 0, kParserUnsupported for
  // encrypted content, kParserOutOfRange, kParserMalformed, or the source's
  // failure; what was read stays attached until Close.
  int ParseHeaderObjects();
  // TrailingObjects.cpp: examines the object `offset` bytes behind the data.
  // Returns how far to advance, or a negative status that ends the walk.
  int ParseOtherObjects(unsigned long offset, int seekMode);

  // --- Header extension and tags ---------------- HeaderExtension.cpp, Metadata.cpp

  // Keeps the metadata and the metadata library object. 0, kParserMalformed,
  // kParserUnsupported (no records, or one that runs past the data),
  // kParserInternal (a second object of a kind).
  int ParseHeaderExtensionObjects();
  // Builds the list of tags anew; 0.
  int SetASFMetaData();
  // Looks `d->key` up and fills the rest of `d` (not null). Returns `d->length`:
  // that of the value found, or, without one, what the caller left there.
  int SetMetaData(meta_descriptor* d);
  meta_info* GetMetaInfo() override;

  // --- Describing the tracks --------------- TrackDescription.cpp, CodecConfig.cpp

  TrackInfo* GetTrackInfo(unsigned long index) override;
  // Whether the first audio frame found is E-AC-3. Reads data packets.
  bool IsEAC3();
  int GetAudioConfig(unsigned char* buffer, unsigned long* size, unsigned long capacity) override;
  int GetVideoConfig(unsigned char* buffer, unsigned long* size, unsigned long capacity) override;
  // Read a VC-1 sequence header from `*len` configuration bytes into the VC-1
  // flags. 1; kParserMalformed where the advanced profile has none.
  int CheckSeqHdr_vc1_adv(unsigned char* buf, unsigned long* len);
  int CheckSeqHdr_vc1_simple_and_main(unsigned char* buf, unsigned long* len);
  // The offset of the first frame behind a sequence header at the start of a
  // video payload; 0 where another start code stands there; else kParserInternal.
  int CheckVideoSequenceHeader(unsigned char streamNumber, unsigned char* data, unsigned long len);

  // --- Data packets --------------------------- PacketHeader.cpp, PacketDemux.cpp

  // Reads the header of the packet at m_CurPos; the source then stands behind it.
  // 0, kParserEndOfStream, or the source's failure.
  int ParsePayloadParsingInfo(payload_parsing_info* info, unsigned int* packetLen);
  // Reads a packet and queues its media objects. `mode` 1 skips audio payloads, 2
  // video payloads, another value none. 0, kParserEndOfStream, kParserOutOfRange
  // or the source's failure; what was queued stays queued.
  int ParseDataPacket(unsigned long packetNum, int mode);
  // The older form, for both streams at once: key frame marks are 0x80, a
  // fragment without its beginning becomes an object of its own, failed reads
  // print nothing.
  int ParseDataPacket(unsigned long packetNum);

  // --- Queues of media objects ---------------------------------- MediaQueues.cpp

  // Appends an object; takes over `data` (a new[] block). 0; `data` stays the
  // caller's after kParserInternal (the stream has no queue) and kParserOutOfRange.
  int PushParsedMediaData(unsigned char stream, unsigned long timeStamp, unsigned long len,
                          unsigned char* data, unsigned char keyFrame);
  // False also when the stream has no queue.
  bool IsEmptyMediaData(unsigned char stream);
  // Joins a copy of a fragment to the stream's last object. 0; kParserInternal
  // when there is none; kParserOutOfRange when it would grow above 0x100000 bytes.
  int AttachParsedMediaData(unsigned char stream, unsigned long offset, unsigned long len,
                            unsigned char* data);

  // --- Delivery ------------------ AudioDelivery.cpp, VideoDelivery.cpp, KeyFrames.cpp

  int GetAudioData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                   unsigned long capacity) override;
  // Appends the frames of an audio object to m_vAudFrameLocDataObject; 1.
  int MakeAudFrameInfoTable(unsigned char* data, unsigned int len, audio_specific_data asd);

  int GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                   unsigned long capacity, bool keyFrameOnly) override;
  int GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                   unsigned long capacity) override;
  // Append the units of a video object to m_vMultiFrameDataObject. AVC: 1, 0 when
  // the object has start codes already, kParserMalformed at a length that overruns
  // it. MPEG-1/2: 1; `tsdur` is the object's duration in ms.
  int CheckAVCStartCode(unsigned char* data, unsigned int len);
  int CheckMPEG12StartCode(unsigned char* data, unsigned int len, unsigned int tsdur);

  // 1 when the frame of a codec begins a key frame, else 0.
  unsigned int CheckIFrameStartCode(unsigned char* buf, unsigned int len, unsigned int fourcc);
  unsigned int CheckIframe_mpeg(unsigned char* buf, unsigned int len);
  // The tests without a length look at 8 (H.263), 2 (MJPEG) or 1 bytes. Mind
  // that CheckIframe_vc1_adv answers 0 for a key picture.
  unsigned int CheckIframe_h263(unsigned char* buf);
  unsigned int CheckIframe_vc1_adv(unsigned char* buf);
  unsigned int CheckIframe_mjpg(unsigned char* buf);
  unsigned int CheckIframe_vc1_simple_and_main(unsigned char* buf);
  // The offset of the first VC-1 frame start code; kParserInternal without one.
  int CheckFrameHeader(unsigned char* buf, unsigned long len);

  // --- Seeking -------------------------------------------- PacketTime.cpp, Seek.cpp

  // The time in ms of the first payload of a packet that belongs to the track
  // (video: and starts a key frame); 0 when there is none; a negative status.
  int GetPacketTime(unsigned long packetNum, int trackType);
  int Seek(unsigned long timeMs, int trackType, int mode) override;
  int SeekEx(unsigned long timeMs, int trackType, int modeFlags, int isScanMode,
             unsigned long long offset, int seekMode) override;
  // The packet to restart a track from, for the same arguments; or a negative
  // status.
  long long GetStartPacketNumEx(unsigned long timeMs, int trackType, int modeFlags, int isScanMode,
                                unsigned long long offset, int seekMode);

  // --- Track selection ------------------------------------------ TrackSelection.cpp

  // Make the track `index` the current one; always 0.
  int SelectAudioTrack(int index) override;
  int SelectVideoTrack(int index);

 private:
  // The machinery of one source each; see the list above.
  class Opening;
  class HeaderWalk;
  class TrailingObject;
  class ExtensionWalk;
  class TagSearch;
  class TrackDescriber;
  class Eac3Probe;
  class PacketHeader;
  class PacketCursor;
  class Demuxer;
  class Lane;
  class AudioDelivery;
  class VideoDelivery;
  class PacketProbe;
  class StartPacketSearch;
  class TrackSelector;

  // What several sources use; the source that defines it.
  SourceReader Source() const { return SourceReader(m_pDataSource); }
  const asf_stream_properties_object& StreamAt(unsigned long index,
                                               const char* operation) const;  // ParserState.cpp
  void ReleaseTrackRecords();                                                 // ParserState.cpp
  void ReleaseTags();                                                         // ParserState.cpp
  bool ProbeEAC3(unsigned int blockAlign);                                    // Eac3Probe.cpp
  // Where the objects of a stream number are queued; null: nowhere.
  media_data* QueueOf(unsigned char stream);  // MediaQueues.cpp
  // Apart, so that the large buffers of video stay video's.
  MediaPool& PoolOf(const media_data* stream) {
    return stream == &m_VideoData ? m_VideoPool : m_AudioPool;
  }
  void RestartTrack(int trackType, unsigned long long packet);  // Seek.cpp

  // State that outlives a call or is shared by several sources.
  ExceptionBarrier m_Barrier;
  unsigned long long m_CurPos = 0;                 // absolute byte position worked at
  unsigned long long m_StartPosOfDataPackets = 0;  // file offset of data packet 0
  IDataSource* m_pDataSource = nullptr;            // the host's
  bool m_bClosed = false;                          // Close came after the last Open
  unsigned char m_bSeeked = 0;                     // video restarts at a key frame
  unsigned char m_bVideoEOS = 0;                   // no further packets are read for video
  unsigned char m_bAudioEOS = 0;                   // the same for audio
  unsigned long long m_CurDataPacketNum = 0;       // where the last seek went
  unsigned long long m_CurVideoDataPacketNum = 0;  // next packet to demultiplex for video
  unsigned long long m_CurAudioDataPacketNum = 0;  // the same for audio
  unsigned int m_CurDataPacketLen = 0;             // bytes
  unsigned long long m_LastPayloadLen = 0;         // bytes of the last payload read or skipped
  std::vector<media_data*> m_vMediaData;           // one per stream of the file; owned. A
                                                   // dropped stream's entry has the index of
                                                   // the stream behind it
  media_data m_AudioData;                          // the current audio stream
  media_data m_VideoData;                          // the current video stream
  unsigned int m_VideoTrackIndex = 0;
  unsigned int m_AudioTrackIndex = 0;
  unsigned long long m_AudioBitrate = 0;  // bits per second
  FrameTable m_vMultiFrameDataObject;     // units of the object at the front of the video queue
  FrameTable m_vAudFrameLocDataObject;    // the same for audio
  unsigned int m_VidFrameTableState = 0;  // 0 = not split yet, else the splitter's result
  unsigned int m_AudFrameTableState = 0;  // 0 = no table yet, 1 = built
  bool m_bMp3SyncFound = false;           // once per parser
  unsigned char m_bVC1Interlace = 0;      // from the VC-1 sequence header
  unsigned char m_bVC1RangeRed = 0;
  unsigned char m_bVC1MaxBFrames = 0;
  unsigned char m_bVC1FInterpFlag = 0;
  unsigned long long m_SeekKeyFrameTimeMs = 0;  // ms; the key frame chosen for video
  MediaPool m_AudioPool;                        // spare media buffers of audio, and of
                                                // streams that are not played
  MediaPool m_VideoPool;                        // those of video

  asf_header_object m_objHeader{};
  asf_file_properties_object m_objFileProperties{};
  asf_header_extension_object m_objHeaderExtension{};
  asf_data_object m_objDataObject{};
  asf_simple_index_object* m_pSimpleIndex = nullptr;               // the first of m_vSimpleIndex
  std::vector<asf_stream_properties_object*> m_vStreamProperties;  // the tracks; owned
  std::vector<asf_simple_index_object*> m_vSimpleIndex;            // owned
  unsigned long long m_IndexBytes = 0;  // entries of m_vSimpleIndex; at most kMaxAllocBytes
  asf_metadata_object* m_pMetadataObject = nullptr;  // owned, as all below
  asf_metadata_object* m_pMetadataLibraryObject = nullptr;
  asf_extension_record* m_pExtensionRecord = nullptr;  // never set; Close keeps its place
  asf_content_description_object* m_objContentDescription = nullptr;
  asf_extended_content_description_object* m_pExtContentDescription = nullptr;
  AsfTrackExt* m_pExtraInterface = nullptr;
  TrackInfo* m_pTrackInfo = nullptr;  // m_TrackRecords of them
  std::size_t m_TrackRecords = 0;     // one per stream kept when Open ended
  meta_info* m_pMetaInfo = nullptr;
  // What m_pMetaInfo points into, where the header was read again since; owned.
  asf_extended_content_description_object* m_pTaggedDescription = nullptr;
};

#endif  // QO_ASF_ASFPARSER_H
