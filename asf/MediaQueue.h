// Queues of media objects, the spare elements behind them, and the access unit
// locations of the object at a queue's front.
//
// A queue owns its elements and their buffers. An element that the parser takes
// off a queue goes to the pool of spares, so that play-out allocates nothing once
// it runs; flushMediaData frees.
//
// While a call is on, the object that it will deliver may be put together where the
// host wants it, so that its bytes are copied once less. See MoveTo.
#ifndef QO_ASF_MEDIAQUEUE_H
#define QO_ASF_MEDIAQUEUE_H

#include <cstddef>
#include <list>
#include <vector>

#include "asf/format/Limits.h"
#include "asf/format/guid.h"

// One media object, or the part of it received so far.
struct ParsedMediaData {
  unsigned char bKeyFrame;  // key frame mark of the first fragment: 0 = no
  unsigned int TimeStamp;   // ms, preroll removed
  unsigned int DataLen;     // bytes of `pData` that count
  unsigned char* pData;     // a plain new[] block; owned by the queued element. Where the
                            // bytes are unless the element was moved
};

// A queue's element: the media object and the room that its buffer has.
class QueuedMedia : public ParsedMediaData {
 public:
  QueuedMedia() : ParsedMediaData{} {}
  ~QueuedMedia() { delete[] pData; }
  QueuedMedia(const QueuedMedia&) = delete;
  QueuedMedia& operator=(const QueuedMedia&) = delete;

  unsigned int capacity() const { return m_Capacity; }

  // Where its bytes are: in `pData`, or where MoveTo took them.
  unsigned char* bytes() const { return m_Bytes; }

  // Whether it may grow by `bytes` bytes: to 1 to kMaxAllocBytes.
  bool CanGrowBy(unsigned long bytes) const {
    return DataLen <= kMaxAllocBytes && bytes <= kMaxAllocBytes - DataLen && DataLen + bytes != 0;
  }

  // Makes room for `bytes` bytes and keeps the first DataLen. Grows
  // geometrically: an object joined from many fragments costs linear time. Where
  // the element was moved `pData` has that room, too.
  void Reserve(unsigned int bytes) {
    if (bytes > m_Room) Grow(bytes);
  }

  // Goes on at `place`, which is another's, with room for `room` bytes there;
  // nothing where it has more already. It moves back when it needs more room, and
  // MoveBack has to be called before the place goes.
  void MoveTo(unsigned char* place, unsigned int room);
  // Goes on in `pData`, which costs no memory. Nothing where it was not moved.
  void MoveBack();

  // A payload promised more bytes than the source brought. Such an object gives
  // back the room that was made for them once it is complete (Settle): a packet
  // can promise much.
  void NoteShort() { m_IsShort = true; }
  void Settle();

  // Makes it an element without data, in `pData`, as good as new but for its buffer.
  void Reset();

  // Takes over a new[] block of `length` bytes; the former one is freed.
  void Adopt(unsigned char* data, unsigned int length);

 private:
  bool IsMoved() const { return m_Bytes != pData; }
  void Grow(unsigned int bytes);
  void Resize(unsigned int capacity);
  void Stay();

  unsigned int m_Capacity = 0;                // of `pData`
  unsigned int m_PlaceRoom = kMaxAllocBytes;  // where it was moved to
  unsigned int m_Room = 0;                    // the smaller of the two
  unsigned char* m_Bytes = nullptr;
  bool m_IsShort = false;
};

using MediaQueue = std::list<QueuedMedia>;

// Spare elements with their buffers, kMaxSpareBytes at most.
class MediaPool {
 public:
  // A list of exactly one element with room for `bytes` bytes and no data yet:
  // splice it into a queue, or give it back.
  MediaQueue Take(unsigned int bytes);

  // Moves every element of `from`, or its first one, to the spares.
  void Recycle(MediaQueue* from);
  void RecycleFront(MediaQueue* from);

  void Clear();

 private:
  MediaQueue m_Spare;
  unsigned long long m_SpareBytes = 0;  // what m_Spare holds, nodes included
};

// The value of TrackIndex that means "no track".
constexpr int kNoTrack = 0xFFFFFF;

// One stream. Only the queues of the current audio and video stream are filled.
struct media_data {
  int TrackIndex = kNoTrack;  // position among the kept streams
  unsigned char StreamNumber = 0;
  guid StreamType{};
  MediaQueue qData;  // oldest object first
};

// Where one access unit lies in the buffer of the object at a queue's front.
struct frame_loc_data {
  unsigned int offset;     // bytes
  unsigned int size;       // bytes
  unsigned int ts_offset;  // ms behind the object's TimeStamp; unused for AVC
};

// An ordered sequence of locations that is consumed from the front. Keeps its
// memory from one object to the next.
class FrameTable {
 public:
  bool Empty() const { return m_First == m_Frames.size(); }
  std::size_t Size() const { return m_Frames.size() - m_First; }
  const frame_loc_data& Front() const { return m_Frames[m_First]; }
  frame_loc_data& operator[](std::size_t k) { return m_Frames[m_First + k]; }
  void Append(const frame_loc_data& frame) { m_Frames.push_back(frame); }
  void PopFront() {
    if (++m_First == m_Frames.size()) Clear();
  }
  void Clear() {
    m_Frames.clear();
    m_First = 0;
  }
  void Free() { *this = FrameTable(); }

 private:
  std::vector<frame_loc_data> m_Frames;
  std::size_t m_First = 0;  // <= m_Frames.size()
};

#endif  // QO_ASF_MEDIAQUEUE_H
