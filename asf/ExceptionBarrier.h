// Keeps exceptions inside the library.
#ifndef QO_ASF_EXCEPTIONBARRIER_H
#define QO_ASF_EXCEPTIONBARRIER_H

#include <new>
#include <type_traits>

#include "qo_parser_asf/ParserStatus.h"

#ifdef __GLIBCXX__
#include <cxxabi.h>
#endif

enum class Thrown { kOutOfMemory, kOther };

// In a handler of all exceptions: what was thrown. A thread that is cancelled unwinds
// its stack by something that looks like an exception and is none: whoever stops it
// ends the process, so it passes on from here.
inline Thrown WhatWasThrown() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return Thrown::kOutOfMemory;
#ifdef __GLIBCXX__
  } catch (const abi::__forced_unwind&) {
    throw;
#endif
  } catch (...) {  // from the host's byte source
    return Thrown::kOther;
  }
}

// Every exported operation that allocates or calls the byte source runs its
// body in the parser's barrier. Exported operations call each other; only the
// outermost one, the host's own call, turns an exception into a status, so that
// no operation goes on with half of another's work.
class ExceptionBarrier {
 public:
  // The body's result. After an exception a status: kParserOutOfRange where memory
  // ran out, else kParserEndOfStream; where the result is a bool false, a pointer
  // null.
  template <typename Body>
  auto Run(Body&& body) -> decltype(body()) {
    if (inside_) return body();
    const Occupied occupied(&inside_);
    try {
      return body();
    } catch (...) {
      return Failure<decltype(body())>(WhatWasThrown());
    }
  }

 private:
  class Occupied {
   public:
    explicit Occupied(bool* flag) : flag_(flag) { *flag_ = true; }
    ~Occupied() { *flag_ = false; }
    Occupied(const Occupied&) = delete;
    Occupied& operator=(const Occupied&) = delete;

   private:
    bool* flag_;
  };

  template <typename Result>
  static Result Failure(Thrown thrown) {
    if constexpr (std::is_pointer_v<Result> || std::is_same_v<Result, bool>) {
      return Result{};
    } else {
      return thrown == Thrown::kOutOfMemory ? kParserOutOfRange : kParserEndOfStream;
    }
  }

  bool inside_ = false;
};

#endif  // QO_ASF_EXCEPTIONBARRIER_H
