// The walk over a file's objects: the header's as FileHeader has them, then those that follow
// it, one after another.
#include "qo_host/ObjectTree.h"

#include <algorithm>
#include <utility>

#include "asf/format/Arithmetic.h"
#include "asf/format/Records.h"
#include "asf/format/SourceReader.h"
#include "host/header/KnownGuid.h"
#include "host/packets/DataExtent.h"
#include "host/tree/ObjectFields.h"
#include "qo_host/BorrowedSource.h"

namespace qo_host {
namespace {

// Bytes of an object behind the header that are looked at: its fixed part, and more entries than
// are shown.
constexpr unsigned long long kBytesShown = 4096;

std::string BytesText(unsigned long long size) {
  return std::to_string(size) + (size == 1 ? " byte" : " bytes");
}

std::string ProblemText(const HeaderIssue& issue) {
  const std::string at = " at " + std::to_string(issue.position);
  switch (issue.problem) {
    case HeaderProblem::kNotAsf:
      return "not an ASF file";
    case HeaderProblem::kHeaderSize:
      return "states a size that no header has: it is taken to end where the data object begins";
    case HeaderProblem::kHeaderCut:
      return "the file ends in the header";
    case HeaderProblem::kHeaderTooLong:
      return "too long: what follows was not read";
    case HeaderProblem::kDataInHeader:
      return "a data object begins in it" + at + ": it ends there";
    case HeaderProblem::kCountTooSmall:
      return "more objects than it counts";
    case HeaderProblem::kCountTooLarge:
      return "fewer objects than it counts";
    case HeaderProblem::kObjectSize:
      return "an object" + at + " states a size that no object has: what follows was not read";
    case HeaderProblem::kObjectTooLong:
      return "reaches beyond what holds it";
    case HeaderProblem::kExtensionSize:
      return "its data has not the size that it states";
    case HeaderProblem::kLooseBytes:
      return "bytes" + at + " that are too few for an object";
    case HeaderProblem::kRecordCut:
      return "ends within its fields or a record";
    case HeaderProblem::kTooMany:
      return "more entries than are read";
  }
  return "";
}

// Told of each object as it is described.
bool IsOfContents(HeaderProblem problem) {
  return problem == HeaderProblem::kRecordCut || problem == HeaderProblem::kTooMany;
}

class TreeWalk {
 public:
  using Visit = std::function<bool(const ObjectNode&)>;

  TreeWalk(IDataSource* source, const Visit& visit)
      : source_(source), reader_(source), visit_(visit) {}

  WalkResult Walk() {
    status_ = ReadFileHeader(source_, &header_);
    if (status_ < 0) return {WalkEnd::kSourceFailed, status_};
    unsigned long long size = 0;
    fileEnd_ = source_->GetSize(&size) == 0 ? size : kNowhere;
    if (!header_.isAsf) {
      VisitPlace(0, fileEnd_, ProblemText({HeaderProblem::kNotAsf, 0}));
    } else if (VisitHeader()) {
      VisitRest();
    }
    if (status_ < 0) return {WalkEnd::kSourceFailed, status_};
    return {isCancelled_ ? WalkEnd::kCancelled : WalkEnd::kDone, 0};
  }

 private:
  bool Show(const ObjectNode& node) {
    isCancelled_ = !visit_(node);
    return !isCancelled_;
  }

  bool VisitPlace(unsigned long long begin, unsigned long long end, std::string problem) {
    ObjectNode node;
    node.isObject = false;
    node.position = begin;
    node.size = node.present = end == kNowhere ? 0 : end - begin;
    node.problems.push_back(std::move(problem));
    return Show(node);
  }

  // Fills in what `object` says, whose bytes are in `part_`.
  void Describe(const HeaderObject& object, ObjectNode* node) {
    node->id = object.id;
    if (const char* name = GuidName(object.id)) node->name = name;
    node->size = object.size;
    node->present = object.range.size;
    DescribeObject(object, header_, &part_, &node->fields);
  }
  void AddProblems(ObjectNode* node) const {
    for (const HeaderIssue& issue : part_.problems) node->problems.push_back(ProblemText(issue));
  }

  bool VisitHeader() {
    PlaceIssues();
    ObjectNode node;
    node.id = KitGuid(GuidOf(ID_HEADER_OBJECT));
    node.name = GuidName(node.id);
    node.size = header_.statedSize;
    node.present = header_.bytes.size();
    node.fields.push_back({"objects", std::to_string(header_.statedCount), header_.statedCount});
    AddPlaced(header_.objects.size(), &node);
    if (!Show(node)) return false;
    part_.bytes.swap(header_.bytes);
    headerEnd_ = part_.bytes.size();
    for (std::size_t i = 0; i < header_.objects.size(); ++i) {
      const HeaderObject& object = header_.objects[i];
      node = {};
      node.position = object.range.position;
      node.depth = static_cast<unsigned char>(object.depth + 1);
      Describe(object, &node);
      AddPlaced(i, &node);
      AddProblems(&node);
      if (!Show(node)) return false;
    }
    part_.bytes.swap(header_.bytes);
    return true;
  }

  // Each problem belongs to the innermost object that holds its place, or to the header.
  void PlaceIssues() {
    const std::vector<HeaderObject>& objects = header_.objects;
    std::vector<std::size_t> holders;  // of the place in hand, from the outermost
    std::vector<HeaderIssue> issues = header_.problems;
    std::stable_sort(issues.begin(), issues.end(),
                     [](const auto& a, const auto& b) { return a.position < b.position; });
    std::size_t next = 0;
    for (const HeaderIssue& issue : issues) {
      if (IsOfContents(issue.problem)) continue;
      for (; next < objects.size() && objects[next].range.position <= issue.position; ++next) {
        DropEnded(objects[next].range.position, &holders);
        holders.push_back(next);
      }
      DropEnded(issue.position, &holders);
      placed_.emplace_back(
          IsOfHeader(issue.problem) || holders.empty() ? objects.size() : holders.back(), issue);
    }
    std::stable_sort(placed_.begin(), placed_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
  }
  static bool IsOfHeader(HeaderProblem problem) {
    return problem == HeaderProblem::kCountTooSmall || problem == HeaderProblem::kHeaderCut;
  }
  void DropEnded(std::size_t position, std::vector<std::size_t>* holders) const {
    const auto hasEnded = [&](std::size_t index) {
      const ByteRange range = header_.objects[index].range;
      return position - range.position >= range.size;
    };
    while (!holders->empty() && hasEnded(holders->back())) holders->pop_back();
  }
  void AddPlaced(std::size_t object, ObjectNode* node) const {
    const auto first = std::lower_bound(
        placed_.begin(), placed_.end(), object,
        [](const auto& placed, std::size_t index) { return placed.first < index; });
    for (auto at = first; at != placed_.end() && at->first == object; ++at) {
      node->problems.push_back(ProblemText(at->second));
    }
  }

  // What follows the header, to the file's end.
  void VisitRest() {
    data_ = FindData(source_, header_);
    const bool isWhole = headerEnd_ < kMaxFileHeaderBytes;
    unsigned long long position = isWhole ? headerEnd_ : header_.statedSize;
    header_.bytes = {};
    while (position < fileEnd_ && LoadObject(position)) {
      const unsigned long long next = VisitObject(position);
      if (isCancelled_ || next <= position) return;
      position = next;
    }
  }

  // False: the file ends there, or cannot be read.
  bool LoadObject(unsigned long long position) {
    unsigned long long got = 0;
    status_ = reader_.ReadAt(position, &fixed_, sizeof(fixed_), &got);
    there_ = std::min<unsigned long long>(got, sizeof(fixed_));
    return status_ >= 0 && got != 0;
  }

  // The position of what follows.
  unsigned long long VisitObject(unsigned long long position) {
    const Guid id = KitGuid(fixed_.objectId);
    const unsigned long long rest = fileEnd_ - position;
    if (there_ < sizeof(fixed_)) {
      VisitPlace(position, SaturatingAdd(position, there_), "too few bytes for an object");
      return fileEnd_;
    }
    const bool isData = SaturatingAdd(position, sizeof(asf_data_object)) == data_.packetsStart &&
                        KnownGuid(id) == ID_DATA_OBJECT;
    const bool fits = fixed_.objectSize >= sizeof(fixed_) && fixed_.objectSize <= rest;
    if (!isData && !fits && (fixed_.objectSize < sizeof(fixed_) || GuidName(id) == nullptr)) {
      const unsigned long long end = NextKnown(position);
      VisitPlace(position, end, "no object");
      return end;
    }
    ObjectNode node;
    node.position = position;
    LoadPart(position, &node);
    const unsigned long long end =
        isData ? DataEnd(&node) : SaturatingAdd(position, fixed_.objectSize);
    node.present = std::min(end, fileEnd_) - position;
    if (!isData && !fits) node.problems.emplace_back("the file ends in it");
    return Show(node) ? end : position;
  }

  void LoadPart(unsigned long long position, ObjectNode* node) {
    const unsigned long long stated =
        std::max<unsigned long long>(fixed_.objectSize, sizeof(fixed_));
    part_.bytes.resize(static_cast<std::size_t>(std::min(stated, kBytesShown)));
    unsigned long long got = 0;
    status_ = reader_.ReadAt(position, part_.bytes.data(), part_.bytes.size(), &got);
    part_.bytes.resize(
        static_cast<std::size_t>(std::min<unsigned long long>(got, part_.bytes.size())));
    if (part_.bytes.size() < sizeof(fixed_)) return;
    Describe({KitGuid(fixed_.objectId), fixed_.objectSize, {0, part_.bytes.size()}, 0}, node);
    // What was not asked for isn't missing.
    if (part_.bytes.size() == stated || got < kBytesShown) AddProblems(node);
  }

  // Where the packets end, whatever the data object says.
  unsigned long long DataEnd(ObjectNode* node) const {
    const unsigned long long stated = SaturatingAdd(node->position, fixed_.objectSize);
    const unsigned long long end = std::max(data_.packetsStart, data_.packetsEnd);
    if (fileEnd_ != kNowhere && stated > fileEnd_) {
      node->problems.emplace_back("the file ends in it");
    } else if (stated != end) {
      node->problems.push_back("its packets have " + BytesText(end - data_.packetsStart) +
                               ", not as many as it states");
    }
    return end;
  }

  // Where something is known to lie behind bytes that make no sense.
  unsigned long long NextKnown(unsigned long long position) const {
    unsigned long long next = fileEnd_;
    const unsigned long long data = data_.packetsStart - sizeof(asf_data_object);
    if (data_.statedSize != 0 && data > position) next = std::min(next, data);
    for (const FileExtent& index : data_.indexes) {
      if (index.offset > position) next = std::min(next, index.offset);
    }
    return next;
  }

  IDataSource* const source_;
  SourceReader reader_;
  const Visit& visit_;
  FileHeader header_;
  std::size_t headerEnd_ = 0;
  unsigned long long fileEnd_ = kNowhere;  // kNowhere: not known
  DataExtent data_;
  FileHeader part_;  // of one object; its bytes are the header's, or the object's first
  std::vector<std::pair<std::size_t, HeaderIssue>> placed_;  // by index of the object
  asf_object_header fixed_ = {};  // of the object in hand, behind the header
  unsigned long long there_ = 0;  // bytes of it
  int status_ = 0;
  bool isCancelled_ = false;
};

}  // namespace

WalkResult WalkObjects(IDataSource* source, const std::function<bool(const ObjectNode&)>& visit) {
  BorrowedSource borrowed(source);
  return TreeWalk(&borrowed, visit).Walk();
}

}  // namespace qo_host
