// See CommonTags.h. No state.
#include "qo_host/CommonTags.h"

#include <algorithm>
#include <string_view>

#include "asf/format/TagNames.h"

namespace qo_host {
namespace {

// The tag of a name whose origin comes first; null without one that has a value.
const HeaderTag* FindTag(const FileHeader& header, TagOrigin from, std::string_view name) {
  const HeaderTag* found = nullptr;
  for (const HeaderTag& tag : header.tags) {
    if (tag.origin < from || tag.name != name || tag.value.size == 0) continue;
    if (found == nullptr || tag.origin < found->origin) found = &tag;
  }
  return found;
}

const HeaderTag* FindTitle(const FileHeader& header) {
  const auto title = std::find_if(header.tags.begin(), header.tags.end(), [](const HeaderTag& tag) {
    return tag.origin == TagOrigin::kContentDescription && tag.name == "Title";
  });
  return title != header.tags.end() ? &*title : nullptr;
}

}  // namespace

std::vector<Tag> CommonTags(const FileHeader& header) {
  std::vector<Tag> tags;
  for (const TagNameRow& row : kTagNames) {
    const HeaderTag* tag = FindTag(header, TagOrigin::kExtendedContentDescription, row.name);
    if (tag == nullptr && row.key == META_TITLE) tag = FindTitle(header);
    if (tag == nullptr) continue;
    tags.push_back(
        {row.key, tag->type, tag->text, tag->number, static_cast<unsigned int>(tag->value.size)});
  }
  return tags;
}

std::optional<Picture> CommonPicture(const FileHeader& header) {
  for (const HeaderTag& tag : header.tags) {
    if (auto picture = header.PictureOf(tag)) return picture;
  }
  return std::nullopt;
}

}  // namespace qo_host
