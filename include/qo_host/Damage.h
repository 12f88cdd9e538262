// What is lost in a file: told as it is read.
#ifndef QO_HOST_DAMAGE_H
#define QO_HOST_DAMAGE_H

#include <cstddef>
#include <map>
#include <set>
#include <utility>

#include "qo_host/PacketReader.h"

namespace qo_host {

// What is lost in a file, as far as it has been read.
struct Damage {
  // More are not listed: a file of nothing else would take memory out of proportion.
  static constexpr std::size_t kMaxListed = 1u << 16;

  std::map<unsigned long long, PacketFault> packets;         // that can't be walked, and why
  std::set<std::pair<unsigned char, unsigned int>> objects;  // that lost fragments: stream, time
};

}  // namespace qo_host

#endif  // QO_HOST_DAMAGE_H
