// The host's byte source: what the parser reads a file through.
//
// The host implements it and keeps it alive from Open/OpenEx until Close has
// returned. The parser never owns or deletes it. All calls come from the thread
// that called the parser; none may call that parser in its turn. An exception
// thrown by any operation ends the parser call with kParserEndOfStream
// (std::bad_alloc: kParserOutOfRange); none passes through the parser.
#ifndef QO_IDATASOURCE_H
#define QO_IDATASOURCE_H

class IDataSource {
 public:
  // Slots 0 and 1.
  virtual ~IDataSource() = default;

  // Slot 2. Called once, before any other operation. The result is ignored.
  virtual int Open() = 0;

  // Slot 3. Called once by the parser's Close. The result is ignored.
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
