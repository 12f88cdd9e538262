// Queued elements and their spares.
#include "asf/MediaQueue.h"

#include <algorithm>

#include "asf/UnitCopy.h"
#include "asf/format/Limits.h"

void QueuedMedia::Grow(unsigned int bytes) {
  if (bytes > m_Capacity) {
    const unsigned int doubled = std::min(2 * m_Capacity, kMaxAllocBytes);
    Resize(std::max(bytes, doubled));
  }
  if (bytes > m_Room) MoveBack();
}

void QueuedMedia::MoveTo(unsigned char* place, unsigned int room) {
  if (DataLen > room) return;
  CopyUnit(place, m_Bytes, DataLen);
  m_Bytes = place;
  m_PlaceRoom = room;
  m_Room = std::min(room, m_Capacity);
}

void QueuedMedia::MoveBack() {
  if (!IsMoved()) return;
  CopyUnit(pData, m_Bytes, DataLen);
  Stay();
}

void QueuedMedia::Stay() {
  m_Bytes = pData;
  m_PlaceRoom = kMaxAllocBytes;
  m_Room = m_Capacity;
}

void QueuedMedia::Settle() {
  if (!m_IsShort) return;
  Resize(DataLen);
  m_IsShort = false;
}

void QueuedMedia::Reset() {
  DataLen = 0;
  m_IsShort = false;
  Stay();
}

void QueuedMedia::Resize(unsigned int capacity) {
  auto* resized = new unsigned char[capacity];
  if (!IsMoved()) {
    CopyUnit(resized, pData, DataLen);
    m_Bytes = resized;
  }
  delete[] pData;
  pData = resized;
  m_Capacity = capacity;
  m_Room = std::min(m_PlaceRoom, capacity);
}

void QueuedMedia::Adopt(unsigned char* data, unsigned int length) {
  delete[] pData;
  pData = data;
  DataLen = length;
  m_Capacity = length;
  Stay();
}

namespace {

// What a spare element holds, its own list node included: many tiny ones count.
unsigned long long HeldBytes(const QueuedMedia& element) {
  return element.capacity() + sizeof(element) + 2 * sizeof(void*);
}

}  // namespace

MediaQueue MediaPool::Take(unsigned int bytes) {
  MediaQueue taken;
  if (m_Spare.empty()) {
    taken.emplace_back();
  } else {
    taken.splice(taken.end(), m_Spare, m_Spare.begin());
    m_SpareBytes -= HeldBytes(taken.front());
    taken.front().Reset();
  }
  taken.front().Reserve(bytes);
  return taken;
}

void MediaPool::Recycle(MediaQueue* from) {
  while (!from->empty()) RecycleFront(from);
}

void MediaPool::RecycleFront(MediaQueue* from) {
  const unsigned long long held = HeldBytes(from->front());
  if (held > kMaxSpareBytes - m_SpareBytes) {
    from->pop_front();
    return;
  }
  m_SpareBytes += held;
  m_Spare.splice(m_Spare.begin(), *from, from->begin());
}

void MediaPool::Clear() {
  m_Spare.clear();
  m_SpareBytes = 0;
}
