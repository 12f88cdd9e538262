// One file to be measured.
#ifndef QO_BENCH_INPUT_H
#define QO_BENCH_INPUT_H

#include <memory>
#include <string>
#include <string_view>

#include "qo_parser_asf/IDataSource.h"

namespace bench {

class Input {
 public:
  virtual ~Input() = default;
  // A byte source of its own over the file; the input outlives it.
  virtual std::unique_ptr<IDataSource> MakeSource() const = 0;
  // The whole file, for the floor.
  virtual std::string_view bytes() const = 0;
};

// A file in memory, read through qo_host::MemorySource.
std::unique_ptr<Input> MakeMemoryInput(std::string bytes);

// A file on disk, read through qo_host::FileSource. Null, with the reason in
// `*error` (not null), when it cannot be read.
std::unique_ptr<Input> OpenFileInput(const std::string& path, std::string* error);

}  // namespace bench

#endif  // QO_BENCH_INPUT_H
