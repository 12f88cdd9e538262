// Calls on a byte source that may throw.
#ifndef QO_HOST_GUARDED_H
#define QO_HOST_GUARDED_H

#include <cxxabi.h>

#include <new>

#include "qo_parser_asf/ParserStatus.h"

namespace qo_host {

// What `call` returns, or a status for what it throws. A thread that is cancelled
// within the call unwinds by an exception of its own, which must go on.
template <typename Call>
int Guarded(Call call) {
  try {
    return call();
#ifdef __GLIBCXX__
  } catch (const abi::__forced_unwind&) {
    throw;
#endif
  } catch (const std::bad_alloc&) {
    return kParserOutOfRange;
  } catch (...) {
    return kParserEndOfStream;
  }
}

}  // namespace qo_host

#endif  // QO_HOST_GUARDED_H
