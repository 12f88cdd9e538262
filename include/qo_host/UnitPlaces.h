// Where in the file the units of a play-out come from.
//
// Typical use, of a session that has presented its file:
//
//   qo_host::UnitPlaces places(session, file);
//   while (const qo_host::AccessUnit* unit = session.NextUnit()) {
//     const std::optional<qo_host::UnitPlace> place = places.Find(*unit);
//
// Reads the packets' headers besides, in step with the play-out. Memory: a packet, and the
// places of 2^16 objects of each track at most.
#ifndef QO_HOST_UNITPLACES_H
#define QO_HOST_UNITPLACES_H

#include <memory>
#include <optional>

#include "qo_host/ParserSession.h"

namespace qo_host {

// Of the first payload of the media object that a unit is made of.
struct UnitPlace {
  unsigned long long packet;    // its number, from 0
  unsigned long long position;  // of its body, bytes from the file's first
};

// Tells the places of the units of one play-out.
class UnitPlaces {
 public:
  // `session` is open; for the places to be known it presents the file. `file` (not null) brings
  // the file's own bytes; reads move its position. Both must outlive this. One for each play-out:
  // after a seek another one is to be made.
  UnitPlaces(const ParserSession& session, IDataSource* file);
  ~UnitPlaces();
  UnitPlaces(const UnitPlaces&) = delete;
  UnitPlaces& operator=(const UnitPlaces&) = delete;

  // The place of a unit; to be asked of each unit of a track in turn. Nothing where the session
  // has the file as it is, no object near by has the unit's time, or a read failed.
  std::optional<UnitPlace> Find(const AccessUnit& unit);

 private:
  class Work;

  std::unique_ptr<Work> work_;
};

}  // namespace qo_host

#endif  // QO_HOST_UNITPLACES_H
