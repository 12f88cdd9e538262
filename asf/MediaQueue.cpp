// Queued elements and their spares.
#include "asf/MediaQueue.h"

#include <algorithm>

#include "asf/UnitCopy.h"
#include "asf/format/Limits.h"

void QueuedMedia::Reserve(unsigned int bytes) {
  if (bytes <= m_Capacity) return;
  const unsigned int doubled = std::min(2 * m_Capacity, kMaxAllocBytes);
  Resize(std::max(bytes, doubled));
}

void QueuedMedia::Settle() {
  if (!m_IsShort) return;
  Resize(DataLen);
  m_IsShort = false;
}

void QueuedMedia::Reset() {
  DataLen = 0;
  m_IsShort = false;
}

void QueuedMedia::Resize(unsigned int capacity) {
  auto* resized = new unsigned char[capacity];
  CopyUnit(resized, pData, DataLen);
  delete[] pData;
  pData = resized;
  m_Capacity = capacity;
}

void QueuedMedia::Adopt(unsigned char* data, unsigned int length) {
  delete[] pData;
  pData = data;
  DataLen = length;
  m_Capacity = length;
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
