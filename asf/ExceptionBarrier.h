// Keeps exceptions inside the library.
#ifndef QO_ASF_EXCEPTIONBARRIER_H
#define QO_ASF_EXCEPTIONBARRIER_H

#include <new>
#include <type_traits>

#include "qo_parser_asf/ParserStatus.h"

// What an operation of this result type returns for `status`: integers the
// status, a bool false, a pointer null.
template <typename Result>
Result FailureResult(int status) {
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else if constexpr (std::is_same_v<Result, bool>) {
    return false;
  } else {
    return status;
  }
}

// Every exported operation that allocates or calls the byte source runs its
// body in the parser's barrier. Exported operations call each other; only the
// outermost one, the host's own call, turns an exception into a status, so that
// no operation goes on with half of another's work.
class ExceptionBarrier {
 public:
  template <typename Body>
  auto Run(Body&& body) -> decltype(body()) {
    using Result = decltype(body());
    if (inside_) return body();
    const Occupied occupied(&inside_);
    try {
      return body();
    } catch (const std::bad_alloc&) {
      return FailureResult<Result>(kParserOutOfRange);
    } catch (...) {  // thrown by the host's byte source
      return FailureResult<Result>(kParserEndOfStream);
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

  bool inside_ = false;
};

#endif  // QO_ASF_EXCEPTIONBARRIER_H
