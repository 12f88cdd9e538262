// What audio and video delivery have in common: one direction of reading, with its
// packet cursor, queue, access unit table and end mark.
#ifndef QO_ASF_LANE_H
#define QO_ASF_LANE_H

#include "asf/ASFParser.h"

// Where the host wants an access unit: room for kMaxAccessUnitBytes, and its size in
// bytes and time in ms.
struct HostUnit {
  unsigned char* buffer;
  unsigned long* size;
  unsigned long* timeMs;
};

class ASFParser::Lane {
 public:
  // `trackType` is kTrackAudio or kTrackVideo.
  Lane(ASFParser& parser, int trackType)
      : m_Parser(parser),
        m_IsAudio(trackType == kTrackAudio),
        m_Data(m_IsAudio ? parser.m_AudioData : parser.m_VideoData),
        m_Table(m_IsAudio ? parser.m_vAudFrameLocDataObject : parser.m_vMultiFrameDataObject),
        m_TableState(m_IsAudio ? parser.m_AudFrameTableState : parser.m_VidFrameTableState),
        m_AtEnd(m_IsAudio ? parser.m_bAudioEOS : parser.m_bVideoEOS),
        m_NextPacket(m_IsAudio ? parser.m_CurAudioDataPacketNum : parser.m_CurVideoDataPacketNum) {}
  // What is still queued is the parser's alone from here on.
  ~Lane() {
    if (m_PlacedFront && !m_Data.qData.empty()) m_Data.qData.front().MoveBack();
  }
  Lane(const Lane&) = delete;
  Lane& operator=(const Lane&) = delete;

  MediaQueue& Queue() { return m_Data.qData; }
  const QueuedMedia& Front() const { return m_Data.qData.front(); }
  // The access units of the front object, and 0 while it is not split.
  FrameTable& Table() { return m_Table; }
  unsigned int& TableState() { return m_TableState; }
  unsigned int TableState() const { return m_TableState; }
  unsigned char& AtEnd() { return m_AtEnd; }

  // Reads packets until two objects are queued: the front one is complete only once
  // another has begun behind it. kParserOk: there is a front object.
  // kParserEndOfStream, with its line: nothing is left. kParserOutOfRange: memory ran
  // out.
  int Fill();

  // How many bytes of an object that has begun may lie in a place of the host's.
  using RoomRule = unsigned int (*)(const QueuedMedia& object);
  // Lets Fill put what is missing of the front object straight into `place`, which
  // holds kMaxAllocBytes, for as long as the lane lives.
  void PlaceFront(unsigned char* place, RoomRule room) {
    m_Place = place;
    m_RoomOf = room;
  }

  // Hands out the front object as it is.
  void DeliverWhole(const HostUnit& unit);

  void RemoveFront();
  void RemoveAll();

  // Goes on at `packet`, with nothing queued.
  void Restart(unsigned long long packet);

 private:
  bool ReadPacket();
  void MoveFront();

  ASFParser& m_Parser;
  const bool m_IsAudio;
  media_data& m_Data;
  FrameTable& m_Table;
  unsigned int& m_TableState;
  unsigned char& m_AtEnd;
  unsigned long long& m_NextPacket;
  unsigned char* m_Place = nullptr;  // of the host's; null: none, or in use
  RoomRule m_RoomOf = nullptr;
  bool m_PlacedFront = false;
};

#endif  // QO_ASF_LANE_H
