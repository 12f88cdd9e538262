// Takes an input of bytes apart. Owns nothing: the bytes outlive it.
#ifndef QO_TESTING_INPUT_H
#define QO_TESTING_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// Takes numbers off the front; 0 where the input has ended.
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  template <typename Number>
  Number Take() {
    Number number{};
    const std::string_view bytes = TakeBytes(sizeof(number));
    if (!bytes.empty()) std::memcpy(&number, bytes.data(), bytes.size());
    return number;
  }
  std::uint8_t Byte() { return Take<std::uint8_t>(); }
  std::string_view TakeBytes(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::string_view Rest() { return TakeBytes(rest_.size()); }
  bool Empty() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

#endif  // QO_TESTING_INPUT_H
