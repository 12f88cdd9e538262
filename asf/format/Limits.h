// Limits on what a file can make the parser do, each with its unit and reason.
#ifndef QO_ASF_FORMAT_LIMITS_H
#define QO_ASF_FORMAT_LIMITS_H

// Bytes. The largest buffer whose size comes from the file, and so the largest
// media object and access unit.
constexpr unsigned int kMaxAllocBytes = 0x100000;

// Bytes. All buffers read from one header object together: a header may hold
// any number of objects of the size above.
constexpr unsigned long long kMaxHeaderBytes = 0x1000000;

// Bytes. Spare media buffers, with their list nodes, that the parser keeps for
// reuse: so many for audio, so many for video.
constexpr unsigned long long kMaxSpareBytes = 4ull << 20;

// UTF-16 code units of an attribute name that are compared: more would not fit
// the 1024 bytes of its conversion.
constexpr unsigned int kMaxNameUnits = 341;

// Data packets that are read to tell E-AC-3 from AC-3.
constexpr unsigned int kMaxProbePackets = 50;

// Whether `size` may be allocated: 1 to kMaxAllocBytes, in one comparison.
constexpr bool IsAllocatable(unsigned int size) { return size - 1 < kMaxAllocBytes; }

#endif  // QO_ASF_FORMAT_LIMITS_H
