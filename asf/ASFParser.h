// The demultiplexer: one object reads one ASF file.
//
// Contents, in the order in which a file is played, with the source of each:
//
//   life cycle and state          ParserState.cpp
//   opening a file                OpenSequence.cpp, HeaderObjects.cpp,
//                                 TrailingObjects.cpp
//   header extension and tags     HeaderExtension.cpp, Metadata.cpp
//   describing the tracks         TrackDescription.cpp, CodecConfig.cpp
//   data packets                  PacketHeader.cpp, PacketDemux.cpp
//   queues of media objects       MediaQueues.cpp
//   delivery                      AudioDelivery.cpp, VideoDelivery.cpp, KeyFrames.cpp
//   seeking                       PacketTime.cpp, Seek.cpp
//   track selection               TrackSelection.cpp
//
// Leaves that know nothing of the parser: guid, GuidText, ByteReader, SourceReader,
// PacketFields, StartCode, FourCc (reading), AsfRecords, MediaQueue (records and
// their owners), UnitCopy, Limits, Arithmetic, Log, ExceptionBarrier; Globals and
// Export belong to what the library exports.
//
// Exported operations that allocate or call the byte source run in m_Barrier, so
// that no exception leaves the library. Statuses are those of ParserStatus.h.
// Audio and video are read independently: each has its own packet cursor, queue,
// access unit table and end mark.
#ifndef QO_ASF_ASFPARSER_H
#define QO_ASF_ASFPARSER_H

#include <optional>
#include <vector>

#include "asf/AsfRecords.h"
#include "asf/ExceptionBarrier.h"
#include "asf/Export.h"
#include "asf/FreeFunctions.h"
#include "asf/MediaQueue.h"
#include "asf/format/ByteReader.h"
#include "asf/format/PacketFields.h"
#include "asf/format/SourceReader.h"
#include "asf/format/guid.h"
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
  // Looks `d->key` up and fills the rest of `d` (not null). Returns the length of
  // the value found, 0 when there is none.
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
  // A data packet being walked.
  struct PacketCursor {
    payload_parsing_info info;
    unsigned int behindHeader;     // bytes of the packet behind its header
    unsigned int payloads;         // how many it says it has
    unsigned char payloadLenType;  // length type of payload lengths
    bool multiple;                 // has payload flags, and so payload lengths
  };
  // How the demultiplexer treats what it meets.
  struct DemuxRules {
    int skippedStream;      // stream number whose payloads are skipped; -1 = none
    unsigned char keyMark;  // what a key frame is marked with
    bool logsFailures;      // prints failed reads and seeks
    bool dropsOrphans;      // drops a fragment whose object never began
  };
  // Where SeekEx was asked to go.
  struct SeekRequest {
    unsigned long timeMs;
    int trackType;
    bool isScanMode;
    bool isByteMode;
    unsigned long long offset;
    int seekMode;
  };
  // What a scan over the index came to.
  struct IndexScan {
    bool found = false;
    long long packet = 0;  // packet and time of the key frame found, else 0
    unsigned long timeMs = 0;
    long long lastProbed = 0;  // packet number
  };

  // ParserState.cpp
  SourceReader Source() const { return SourceReader(m_pDataSource); }
  const asf_stream_properties_object& StreamAt(unsigned long index, const char* operation) const;
  void ReleaseTrackRecords();

  // OpenSequence.cpp
  int OpenWithMode(IDataSource* source, int mode, const char* operation);
  void WalkTrailingObjects(int mode);
  void BuildTrackTable(const char* operation);
  bool TakeAsTrack(const media_data& entry);
  bool AdoptPacketLen(unsigned int explicitLen);

  // HeaderObjects.cpp
  int ParseHeaderObject(const asf_object_header& header);
  int ParseFileProperties(const asf_object_header& header);
  int ParseStreamProperties(const asf_object_header& header);
  int ParseHeaderExtension(const asf_object_header& header);
  int ParseContentDescription(const asf_object_header& header);
  int ParseExtendedContentDescription(const asf_object_header& header);
  int ParseContentDescriptor(unsigned long long end, asf_content_descriptor* descriptor,
                             bool* exceeded);
  int ReadDescriptorValue(unsigned short length, asf_content_descriptor* descriptor);
  int SkipHeaderObject(const asf_object_header& header);
  int ReadHeaderBuffer(unsigned int size, unsigned int terminator, ByteBuffer* out);

  // TrailingObjects.cpp
  int ParseSimpleIndex();
  int ReadIndexEntries(asf_simple_index_object* index);
  int SkipTrailingObject(const asf_object_header& header);
  int CheckTrailingPosition(unsigned long long advance);

  // HeaderExtension.cpp
  int ParseExtensionObject(ByteReader* reader);
  int KeepMetadataObject(ByteReader* reader, const asf_object_header& header,
                         asf_metadata_object** kept);

  // Metadata.cpp
  bool TakeFromExtendedContentDescription(const char* name, meta_descriptor* d) const;
  bool TakeFromMetadataObjects(const char* name, meta_descriptor* d) const;
  void TakeFromContentDescription(meta_descriptor* d) const;

  // TrackDescription.cpp
  TrackInfo* DescribeTrack(unsigned long index);
  TrackInfo* DescribeOtherTrack(unsigned long index);
  TrackInfo* DescribeAudio(unsigned long index);
  TrackInfo* DescribeVideo(unsigned long index, AsfTrackExt* ext);
  bool ProbeEAC3(unsigned int blockAlign);
  bool FindFirstAc3Frame(unsigned int blockAlign);

  // PacketHeader.cpp
  int ReadLengthTypeFlags(SourceReader* source, payload_parsing_info* info);
  unsigned long long EndOfData() const;
  unsigned long long PacketPosition(unsigned long packetNum) const;
  int BeginPacket(unsigned long packetNum, PacketCursor* packet);
  int ReadPayloadLength(const PacketCursor& packet, unsigned int* length);
  unsigned int WithoutPreroll(unsigned int presentationTime) const;

  // PacketDemux.cpp
  int DemuxPacket(unsigned long packetNum, const DemuxRules& rules);
  int DemuxNextPayload(const PacketCursor& packet, const DemuxRules& rules);
  int DemuxPayload(const PacketCursor& packet, const payload_header& header,
                   const DemuxRules& rules);
  int DemuxCompressed(const PacketCursor& packet, const payload_header& header,
                      const DemuxRules& rules);
  int SkipBody(unsigned int length, const DemuxRules& rules);
  int TakeBody(const payload_header& header, unsigned int timeMs, unsigned int length,
               const DemuxRules& rules);
  int JoinBody(media_data* stream, const payload_header& header, unsigned int timeMs,
               unsigned int length, const DemuxRules& rules);
  int TakeNewBody(media_data* stream, const payload_header& header, unsigned int timeMs,
                  unsigned int length, const DemuxRules& rules);
  int TakeSubPayload(const payload_header& header, unsigned int timeMs, unsigned int length,
                     const DemuxRules& rules);
  int ReadBody(unsigned char* out, unsigned int length, const DemuxRules& rules, unsigned int* got);
  unsigned int SequenceHeaderBytes(const payload_header& header, const unsigned char* data,
                                   unsigned int length) const;
  int QueueFrame(media_data* stream, const payload_header& header, unsigned int timeMs,
                 unsigned int length, const DemuxRules& rules, MediaQueue* fresh);
  int QueueObject(media_data* stream, const payload_header& header, unsigned int timeMs,
                  unsigned int length, const DemuxRules& rules, MediaQueue* fresh);

  // MediaQueues.cpp
  media_data* QueueOf(unsigned char stream);
  bool CanJoin(const QueuedMedia& last, unsigned long len) const;
  void RemoveFrontAudio();
  void RemoveFrontVideo();
  void DropAudioObjects();
  void DropVideoObjects();

  // AudioDelivery.cpp
  bool FillAudio();
  void DeliverAudioObject(unsigned char* buffer, unsigned long* size, unsigned long* timeMs);
  int DeliverAudioFrame(const audio_specific_data& asd, unsigned char* buffer, unsigned long* size,
                        unsigned long* timeMs);
  int FindMpegAudioSync(unsigned char* buffer, unsigned long* size, unsigned long* timeMs);

  // VideoDelivery.cpp
  bool FillVideo();
  bool IsAcceptedKeyFrame(unsigned int fourcc);
  bool DeliverVideoUnit(unsigned int fourcc, unsigned char* buffer, unsigned long* size,
                        unsigned long* timeMs);
  void DeliverVideoObject(unsigned char* buffer, unsigned long* size, unsigned long* timeMs);
  bool DeliverNalUnit(unsigned char* buffer, unsigned long* size, unsigned long* timeMs);
  void DeliverPicture(unsigned char* buffer, unsigned long* size, unsigned long* timeMs);
  void ForgetStaleUnits(unsigned int prefixBytes);

  // PacketTime.cpp
  std::optional<int> ProbeNextPayload(const PacketCursor& packet, int trackType);
  std::optional<int> ProbePayload(const PacketCursor& packet, const payload_header& header,
                                  int trackType);
  std::optional<int> ProbeCompressed(const PacketCursor& packet, const payload_header& header,
                                     int trackType);
  int StepOverSubPayloads(unsigned int length, unsigned int deltaMs, unsigned int* timeMs);
  bool IsWanted(const payload_header& header, int trackType) const;

  // Seek.cpp
  void RestartTrack(int trackType, unsigned long long packet);
  long long StartPacketFromOffset(const SeekRequest& request) const;
  long long FindStartPacket(const SeekRequest& request);
  long long EstimateWithoutIndex(const SeekRequest& request);
  long long EstimateByAudioBitrate(const SeekRequest& request);
  long long EstimateByMaxBitrate(const SeekRequest& request);
  long long StartPacketFromShortIndex(const SeekRequest& request);
  void CorrectAudioBitrate();
  long long StartPacketFromIndex(const SeekRequest& request, long long seed);
  long long StartPacketAtClosest(const SeekRequest& request, unsigned int entry);
  unsigned int IndexEntryOf(unsigned long timeMs) const;
  int ScanIndex(const SeekRequest& request, unsigned int entry, int step, IndexScan* scan);
  void RememberKeyFrame(const SeekRequest& request, unsigned long timeMs);
  long long UseForVideo(long long packet) const;
  long long FollowVideo(const SeekRequest& request, long long seed);
  long long Refine(const SeekRequest& request, long long seed);

  // TrackSelection.cpp
  bool IsEntryOf(int position, int trackIndex, AsfObjectId type) const;
  void MakeCurrent(int position, const char* operation, media_data* current);

  // State shared by several sources. Names and defaults are those that hosts'
  // debugging aids know.
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
  MediaPool m_MediaPool;                        // spare media buffers

  asf_header_object m_objHeader{};
  unsigned long long m_HeaderBytes = 0;  // buffers allocated for the header so far
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
};

#endif  // QO_ASF_ASFPARSER_H
