// What a status means, in words for a person.
#ifndef QO_HOST_STATUSTEXT_H
#define QO_HOST_STATUSTEXT_H

#include <string>

namespace qo_host {

// What was being done when the status came: one status means different things.
enum class Action : unsigned char {
  kOpen,  // ParserSession::Open
  kSeek,  // ParserSession::Seek, ExactSeeker::Seek
  kRead,  // ReadLayout, WalkPackets
};

// "the content is encrypted" for instance, without a full stop.
std::string StatusText(Action action, int status);

}  // namespace qo_host

#endif  // QO_HOST_STATUSTEXT_H
