// The host's byte source: what the parser reads a file through.
//
// The host implements it and keeps it alive from Open/OpenEx until the parser's
// last Close has returned. The parser never owns or deletes it. All calls come from
// the thread that called the parser; none may call that parser in its turn.
//
// An operation that fails says so by its status. One that throws all the same ends
// the parser's call, and no exception passes through the parser:
//
//   while a packet is read for delivery   the packet counts as one that failed with
//                                         kParserEndOfStream: what is queued is
//                                         still delivered, then comes that status
//   in Close                              ignored
//   elsewhere                             the call returns kParserEndOfStream (a
//                                         pointer: null)
//
// std::bad_alloc is returned by the call that met it as kParserOutOfRange, and
// changes nothing else; but only where the parser and whatever throws share one C++
// library. Where either has one of its own, linked statically (as an Android build
// with the NDK has), the parser can't tell the type and takes it for any other
// exception: a host whose source may run out of memory returns a status instead.
//
// A thread that is cancelled in one of these operations and unwinds for that (glibc
// with GNU's C++ library) leaves through the parser; Close works afterwards.
#ifndef QO_IDATASOURCE_H
#define QO_IDATASOURCE_H

class IDataSource {
 public:
  // Slots 0 and 1.
  virtual ~IDataSource() = default;

  // Slot 2. Called by the parser's Open or OpenEx, before any other operation. The
  // result is ignored.
  virtual int Open() = 0;

  // Slot 3. Called by every Close of the parser, the second one too, once there was
  // an Open. The result is ignored.
  virtual int Close() = 0;

  // Slot 4. Stores the total length in bytes in `*size` (never null). Returns 0,
  // or any other value when the length is unknown.
  virtual int GetSize(unsigned long long* size) = 0;

  // Slot 5. Reads up to `*size` bytes at the absolute byte `offset` into
  // `buffer`; on return `*size` holds the bytes read. Fewer bytes than asked for
  // are no failure: they mean that the source ends there. Returns a negative
  // status on failure, otherwise 0 or more. Afterwards the current position is
  // `offset` + the bytes read.
  virtual int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) = 0;

  // Slot 6. The same at the current position, which it advances.
  virtual int Read(void* buffer, unsigned long long* size) = 0;

  // Slot 7. Moves the current position: `whence` 0 = to the absolute byte
  // `offset`, 1 = by `offset` bytes from the current position. Positions beyond
  // the end are legal; a read there brings 0 bytes. Negative on failure.
  virtual int SeekTo(unsigned long long offset, int whence) = 0;

  // Slot 8. Stores the current absolute position in bytes. Negative on failure.
  virtual int GetPosition(unsigned long long* position) = 0;
};

#endif  // QO_IDATASOURCE_H
