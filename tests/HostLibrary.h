// The shared library, loaded once as a host loads it, with a silent log.
#ifndef QO_TESTS_HOSTLIBRARY_H
#define QO_TESTS_HOSTLIBRARY_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "qo_host/ParserLibrary.h"
#include "qo_host/ParserSession.h"

inline qo_host::ParserFactory Library() {
  static const auto library = [] {
    setenv("QOCP_DEBUG_LEVEL", "0", 1);
    std::string error;
    auto loaded = qo_host::ParserLibrary::Load(QO_PARSER_LIBRARY, &error);
    EXPECT_TRUE(loaded) << error;
    return loaded;
  }();
  return library->factory();
}

// The bare parser's view.
inline qo_host::OpenOptions AsIs() {
  qo_host::OpenOptions options;
  options.asIs = true;
  return options;
}

#endif  // QO_TESTS_HOSTLIBRARY_H
