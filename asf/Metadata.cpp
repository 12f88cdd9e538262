// Tags: the host's keys looked up under their attribute names in the header's
// objects. Values are not copied: a tag points into the parser's copy of the
// object that held it.
#include <algorithm>
#include <cstring>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Limits.h"
#include "asf/format/TagNames.h"

namespace {

constexpr unsigned short kTagCount = sizeof(kTagNames) / sizeof(kTagNames[0]);

constexpr TagNameRow kUnhandled = {META_TITLE, "UNDEF", "UnHandled META"};

const TagNameRow& NameOf(unsigned int key) {
  const auto* found = std::find_if(std::begin(kTagNames), std::end(kTagNames),
                                   [key](const TagNameRow& row) { return row.key == key; });
  return found != std::end(kTagNames) ? *found : kUnhandled;
}

// Whether a stored name begins `name`: as many characters are compared as the
// stored name has units, so that one without its terminator matches every name
// that it begins. Kept so: tags under such names would be others.
bool IsNamed(const unsigned char* stored, unsigned int bytes, const char* name) {
  const unsigned int storedUnits = bytes / 2;
  if (storedUnits == 0) return false;
  const unsigned int units = std::min(storedUnits, kMaxNameUnits);
  // The conversion may pass over one unit for each that it converts; units behind
  // the stored name count as 0.
  unsigned short utf16[2 * kMaxNameUnits];
  std::memset(utf16, 0, 2 * units * sizeof(utf16[0]));
  std::memcpy(utf16, stored, std::min(storedUnits, 2 * units) * sizeof(utf16[0]));
  unsigned char utf8[3 * kMaxNameUnits + 1];
  std::memset(utf8, 0, 3 * units + 1);
  unicodeToUtf_8(utf8, utf16, static_cast<int>(units));
  return std::strncmp(reinterpret_cast<const char*>(utf8), name, storedUnits) == 0;
}

void SetAddress(meta_descriptor* d, const unsigned char* address) {
  std::memcpy(d->value, &address, sizeof(address));
}

const asf_description_record* FindRecord(const asf_metadata_object* object, const char* name) {
  if (object == nullptr) return nullptr;
  const asf_description_record* begin = object->records;
  const asf_description_record* end = begin + object->count;
  const auto* found = std::find_if(begin, end, [name](const auto& record) {
    return IsNamed(record.name, record.image.nameLength, name);
  });
  return found != end ? found : nullptr;
}

// Bytes of the value field that a scalar of an ASF type fills.
unsigned int ScalarBytes(unsigned short type) {
  switch (type) {
    case kMetaQword:
      return 8;
    case kMetaWord:
      return 2;
    default:
      return 4;
  }
}

// A BOOL comes as its raw 32-bit value, unlike that of an extended content
// description. Kept so: hosts would get another value from the same file.
void SetRecordValue(const asf_description_record& record, meta_descriptor* d) {
  if (d->type > kMetaWord) return;
  if (d->type <= kMetaBytes) {
    SetAddress(d, record.data);
    return;
  }
  const unsigned int width = ScalarBytes(d->type);
  std::memset(d->value, 0, width);
  if (d->length != 0) std::memcpy(d->value, record.data, std::min(width, d->length + 0u));
}

void SetDescriptorValue(const asf_content_descriptor& descriptor, meta_descriptor* d) {
  if (d->type > kMetaWord) return;
  if (d->type == kMetaBool) {
    d->value[0] = static_cast<unsigned int>(descriptor.value.number) != 0 ? 1 : 0;
    return;
  }
  const unsigned int width = d->type <= kMetaBytes ? sizeof(d->value) : ScalarBytes(d->type);
  std::memcpy(d->value, &descriptor.value, width);
}

}  // namespace

// The search for one tag, object by object. What it finds it stores in the
// descriptor; a step that says false leaves the search to the next.
class ASFParser::TagSearch {
 public:
  TagSearch(const ASFParser& parser, meta_descriptor* d)
      : m_Parser(parser), m_Attribute(NameOf(d->key)), m_Tag(d) {}

  void Run() {
    LOG_TRACE("SetMetaData %s", m_Attribute.word);
    if (!TakeFromExtendedContentDescription() && !TakeFromMetadataObjects()) {
      TakeFromContentDescription();
    }
  }

 private:
  bool TakeFromExtendedContentDescription();
  bool TakeFromMetadataObjects();
  void TakeFromContentDescription();
  void TakeString(ContentString string);

  const ASFParser& m_Parser;
  const TagNameRow& m_Attribute;
  meta_descriptor* const m_Tag;
};

int ASFParser::SetASFMetaData() {
  return m_Barrier.Run([this] {
    ReleaseTags();
    auto holder = MakeRecord<meta_info>();
    holder->descriptors = new meta_descriptor[kTagCount]();
    holder->count = kTagCount;
    for (unsigned short k = 0; k < kTagCount; ++k) {
      meta_descriptor* d = &holder->descriptors[k];
      d->key = kTagNames[k].key;
      if (SetMetaData(d) >= 1) {
        LOG_TRACE("[%s] found MetaData, key %d", "SetASFMetaData", static_cast<int>(d->key));
      }
    }
    m_pMetaInfo = holder.release();
    return kParserOk;
  });
}

int ASFParser::SetMetaData(meta_descriptor* d) {
  LOG_TRACE("[%s] Start", "SetMetaData");
  TagSearch(*this, d).Run();
  return static_cast<int>(d->length);
}

meta_info* ASFParser::GetMetaInfo() { return m_pMetaInfo; }

// The first descriptor of that name decides; one without a value leaves the
// search to the other objects.
bool ASFParser::TagSearch::TakeFromExtendedContentDescription() {
  if (m_Parser.m_pExtContentDescription == nullptr) return false;
  const auto& descriptors = m_Parser.m_pExtContentDescription->descriptors;
  const auto found =
      std::find_if(descriptors.begin(), descriptors.end(), [this](const auto& entry) {
        return IsNamed(entry.name, entry.nameLength, m_Attribute.name);
      });
  if (found == descriptors.end()) {
    LOG_TRACE("ECD has no matched meta data");
    return false;
  }
  m_Tag->length = found->valueLength;
  if (m_Tag->length == 0) return false;
  m_Tag->type = found->valueType;
  SetDescriptorValue(*found, m_Tag);
  return true;
}

bool ASFParser::TagSearch::TakeFromMetadataObjects() {
  const asf_metadata_object* object = m_Parser.m_pMetadataObject;
  const asf_metadata_object* library = m_Parser.m_pMetadataLibraryObject;
  if (object == nullptr && library == nullptr) return false;
  const asf_description_record* record = FindRecord(object, m_Attribute.name);
  if (record == nullptr) {
    LOG_TRACE("MetaObject has no matched meta data");
    record = FindRecord(library, m_Attribute.name);
  }
  if (record == nullptr) {
    LOG_TRACE("MetaLibraryObject has no matched meta data");
    return false;
  }
  m_Tag->length = record->image.dataLength;
  if (m_Tag->length == 0) return false;
  m_Tag->type = record->image.dataType;
  SetRecordValue(*record, m_Tag);
  return true;
}

void ASFParser::TagSearch::TakeFromContentDescription() {
  if (m_Parser.m_objContentDescription == nullptr) return;
  if (m_Tag->key == META_TITLE) {
    TakeString(kTitle);
    return;
  }
  if (m_Tag->key == META_AUTHOR) TakeString(kAuthor);
  // Also when the author was found. Kept so: the trace would change.
  LOG_TRACE("ContentDescription has no matched meta data");
}

void ASFParser::TagSearch::TakeString(ContentString string) {
  const asf_content_description_object& description = *m_Parser.m_objContentDescription;
  if (description.lengths[string] == 0) return;
  m_Tag->type = kMetaString;
  m_Tag->length = description.lengths[string];
  SetAddress(m_Tag, description.strings[string]);
}

// The unit behind every two-byte character is passed over. Kept so: other attribute
// names would match, and hosts that call it would get other text.
int unicodeToUtf_8(unsigned char* dst, const unsigned short* src, int count) {
  for (int k = 0; k < count; ++k) {
    const unsigned int c = *src++;
    if (c <= 0x7F) {
      *dst++ = static_cast<unsigned char>(c);
    } else if (c <= 0x7FF) {
      *dst++ = static_cast<unsigned char>(0xC0 | c >> 6);
      *dst++ = static_cast<unsigned char>(0x80 | (c & 0x3F));
      ++src;
    } else {
      *dst++ = static_cast<unsigned char>(0xE0 | c >> 12);
      *dst++ = static_cast<unsigned char>(0x80 | (c >> 6 & 0x3F));
      *dst++ = static_cast<unsigned char>(0x80 | (c & 0x3F));
    }
  }
  return 0;
}
