// A whole file as the kit presents it.
#ifndef QO_TESTING_PRESENTEDBYTES_H
#define QO_TESTING_PRESENTEDBYTES_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/presented/Plan.h"
#include "qo_host/MemorySource.h"

// Nothing where it is not presented. `*plan` may be null.
inline std::optional<std::string> PresentedBytes(std::string_view file,
                                                 const qo_host::StreamChoice& choice,
                                                 qo_host::Plan* plan = nullptr) {
  qo_host::MemorySource source(file.data(), file.size());
  std::unique_ptr<qo_host::PresentedFile> presented;
  static_cast<void>(qo_host::PresentedFile::Make(&source, choice, &presented));
  if (plan != nullptr) *plan = presented->plan();
  if (!presented->isPresented()) return std::nullopt;
  const std::unique_ptr<IDataSource> view = presented->MakeSource();
  unsigned long long size = 0;
  static_cast<void>(view->GetSize(&size));
  std::string bytes(size, '\0');
  static_cast<void>(view->ReadAt(0, bytes.data(), &size));
  bytes.resize(size);
  return bytes;
}

#endif  // QO_TESTING_PRESENTEDBYTES_H
