// One direction of reading: packets into the queue, objects off it.
//
// An access unit table belongs to the object at the front of its queue: whatever
// takes that object off empties the table with it.
#include "asf/Lane.h"

#include "asf/Log.h"
#include "asf/UnitCopy.h"

int ASFParser::Lane::Fill() {
  while (m_Data.qData.size() < 2 && m_AtEnd == 0) {
    if (m_IsAudio) {
      LOG_TRACE("[%s] GetAudioData m_CurAudioDataPacketNum %llu", m_Parser.getName(), m_NextPacket);
    }
    if (m_Place != nullptr && !m_Data.qData.empty()) MoveFront();
    if (!ReadPacket()) return kParserOutOfRange;
  }
  if (!m_Data.qData.empty()) return kParserOk;
  LOG_TRACE("[%s] %s EOS", m_Parser.getName(), m_IsAudio ? "GetAudioData" : "GetVideoData");
  return kParserEndOfStream;
}

// A packet that fails, by a status or by an exception of the source, ends the
// reading. False: memory ran out; what the packet brought until then is queued, so
// that reading goes on behind it.
bool ASFParser::Lane::ReadPacket() {
  bool failed = false;
  bool outOfMemory = false;
  try {
    failed = m_Parser.ParseDataPacket(m_NextPacket, m_IsAudio ? kTrackAudio : kTrackVideo) < 0;
  } catch (...) {
    outOfMemory = WhatWasThrown() == Thrown::kOutOfMemory;
    failed = !outOfMemory;
  }
  if (failed) {
    m_AtEnd = 1;
  } else {
    ++m_NextPacket;
  }
  return !outOfMemory;
}

// Once: an object that has moved back doesn't fit.
void ASFParser::Lane::MoveFront() {
  QueuedMedia& front = m_Data.qData.front();
  m_PlacedFront = true;
  front.MoveTo(m_Place, m_RoomOf(front));
  m_Place = nullptr;
}

void ASFParser::Lane::DeliverWhole(const HostUnit& unit) {
  const QueuedMedia& object = Front();
  if (object.bytes() != unit.buffer) CopyUnit(unit.buffer, object.bytes(), object.DataLen);
  *unit.size = object.DataLen;
  *unit.timeMs = object.TimeStamp;
  RemoveFront();
}

void ASFParser::Lane::RemoveFront() {
  m_Parser.PoolOf(&m_Data).RecycleFront(&m_Data.qData);
  m_Table.Clear();
  m_TableState = 0;
}

void ASFParser::Lane::RemoveAll() {
  while (!m_Data.qData.empty()) RemoveFront();
}

void ASFParser::Lane::Restart(unsigned long long packet) {
  const char* table = m_IsAudio ? "m_vAudFrameLocDataObject" : "m_vMultiFrameDataObject";
  m_AtEnd = 0;
  m_NextPacket = packet;
  m_Parser.PoolOf(&m_Data).Recycle(&m_Data.qData);
  LOG_TRACE("[%s]IN>SeekForward : %s(%zu)", m_Parser.getName(), table, m_Table.Size());
  m_Table.Clear();
  m_TableState = 0;
  LOG_TRACE("[%s]OUT>SeekForward : %s(%zu)", m_Parser.getName(), table, m_Table.Size());
}
