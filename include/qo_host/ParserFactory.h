// How parsers are made: by the functions that a host links, or by those of a
// library loaded at run time (ParserLibrary).
#ifndef QO_HOST_PARSERFACTORY_H
#define QO_HOST_PARSERFACTORY_H

#include <memory>

#include "qo_parser_asf/IParser.h"

namespace qo_host {

// Destroys a parser by the function that belongs to it. Calls no Close: that is
// the business of whoever opened the parser.
struct ParserDestroyer {
  void (*destroy)(IParser*);  // not null
  // Called by the pointer that owns `parser` (not null).
  void operator()(IParser* parser) const { destroy(parser); }
};
// The only owner of a parser.
using ParserPointer = std::unique_ptr<IParser, ParserDestroyer>;

// A pair of factory functions, {createParser, destroyParser} where they are linked.
struct ParserFactory {
  // Not null; where it comes from a library, that must stay loaded for as long as a
  // parser of the pair lives.
  IParser* (*create)();
  void (*destroy)(IParser*);

  // A new parser; null when memory runs out.
  ParserPointer Make() const { return ParserPointer(create(), ParserDestroyer{destroy}); }
};

}  // namespace qo_host

#endif  // QO_HOST_PARSERFACTORY_H
