// What the fields of the file properties mean.
#ifndef QO_HOST_FILEPROPERTIES_H
#define QO_HOST_FILEPROPERTIES_H

namespace qo_host {

constexpr unsigned long long kTicksPerMs = 10000;  // of 100 ns, the unit of durations

// Bits of the flags.
constexpr unsigned int kBroadcast = 1;
constexpr unsigned int kSeekable = 2;

}  // namespace qo_host

#endif  // QO_HOST_FILEPROPERTIES_H
