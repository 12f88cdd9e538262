// Read-ahead for a slower byte source: large aligned reads underneath, small
// reads answered from memory, at most kWindowCount windows of it.
//
// Results and positions are those of the wrapped source, call for call; the
// wrapped source sees ReadAt, Open, Close and GetSize only. A failure that
// passes (a source that would succeed when asked again) may be hidden by it.
#ifndef QO_HOST_READAHEADSOURCE_H
#define QO_HOST_READAHEADSOURCE_H

#include <cstddef>
#include <memory>

#include "qo_host/CachedSource.h"

namespace qo_host {

// Large reads of another source, which it owns.
class ReadAheadSource final : public CachedSource {
 public:
  static constexpr std::size_t kWindowCount = 4;  // windows kept in memory
  static constexpr std::size_t kDefaultWindowBytes = std::size_t{1} << 18;  // 256 KiB

  // Takes `inner` (not null). `windowBytes`: the size of the reads underneath, a
  // power of two.
  explicit ReadAheadSource(std::unique_ptr<IDataSource> inner,
                           std::size_t windowBytes = kDefaultWindowBytes);
  ~ReadAheadSource() override;

  // Passed on; Open also rewinds.
  int Open() override;
  int Close() override;
  int GetSize(unsigned long long* size) override;

 private:
  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override;

  std::unique_ptr<IDataSource> inner_;
};

}  // namespace qo_host

#endif  // QO_HOST_READAHEADSOURCE_H
