// A whole file as the kit presents it.
#ifndef QO_TESTING_PRESENTEDBYTES_H
#define QO_TESTING_PRESENTEDBYTES_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/MemorySource.h"
#include "host/Plan.h"

// Nothing where it is not presented. `*plan` may be null.
inline std::optional<std::string> PresentedBytes(std::string_view file,
                                                 const host::StreamChoice& choice,
                                                 host::Plan* plan = nullptr) {
  host::MemorySource source(file.data(), file.size());
  std::unique_ptr<host::PresentedFile> presented;
  static_cast<void>(host::PresentedFile::Make(&source, choice, &presented));
  if (plan != nullptr) *plan = presented->plan();
  if (!presented->plan().isPresented) return std::nullopt;
  const std::unique_ptr<IDataSource> view = presented->MakeSource();
  unsigned long long size = 0;
  static_cast<void>(view->GetSize(&size));
  std::string bytes(size, '\0');
  static_cast<void>(view->ReadAt(0, bytes.data(), &size));
  bytes.resize(size);
  return bytes;
}

#endif  // QO_TESTING_PRESENTEDBYTES_H
