// Release of the records that the parser keeps of a file's objects.
#include "asf/AsfRecords.h"

#if defined(__SANITIZE_ADDRESS__)
#define QO_LEAK_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(leak_sanitizer)
#define QO_LEAK_CHECKER 1
#endif
#endif

#ifdef QO_LEAK_CHECKER
#include <sanitizer/lsan_interface.h>
#endif

void KeepLeaked([[maybe_unused]] const void* block) {
#ifdef QO_LEAK_CHECKER
  if (block != nullptr) __lsan_ignore_object(block);
#endif
}

void Release(asf_stream_properties_object* record) {
  if (record == nullptr) return;
  delete[] record->typeSpecificData;
  delete[] record->errorCorrectionData;
  delete record;
}

void Release(asf_simple_index_object* record) {
  if (record == nullptr) return;
  delete[] record->entries;
  delete record;
}

void Release(asf_content_description_object* record) {
  if (record == nullptr) return;
  for (unsigned char* string : record->strings) delete[] string;
  delete record;
}

void Release(asf_extended_content_description_object* record) {
  if (record == nullptr) return;
  for (const asf_content_descriptor& descriptor : record->descriptors) {
    if (descriptor.valueType <= 1) {
      delete[] descriptor.value.bytes;
    } else if (descriptor.valueType > 5) {
      KeepLeaked(descriptor.value.bytes);
    }
    delete[] descriptor.name;
  }
  delete record;
}

void ReleaseRecords(asf_metadata_object* object) {
  for (unsigned short k = 0; k < object->count; ++k) {
    delete[] object->records[k].name;
    delete[] object->records[k].data;
  }
  delete[] object->records;
  object->records = nullptr;
  object->count = 0;
}

void Release(asf_metadata_object* record) {
  if (record == nullptr) return;
  ReleaseRecords(record);
  delete record;
}

void Release(asf_extension_record* record) {
  if (record == nullptr) return;
  for (unsigned int k = 0; k < record->count; ++k) {
    for (unsigned char* buffer : record->entries[k].buffers) delete[] buffer;
  }
  delete[] record->entries;
  delete record;
}

void Release(meta_info* record) {
  if (record == nullptr) return;
  delete[] record->descriptors;
  delete record;
}
