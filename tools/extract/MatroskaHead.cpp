// Elements in front of the clusters: one function for each, no state.
#include "tools/extract/MatroskaHead.h"

#include <ebml/EbmlSubHead.h>
#include <ebml/EbmlVersion.h>
#include <matroska/KaxInfoData.h>
#include <matroska/KaxSemantic.h>
#include <matroska/KaxTrackAudio.h>
#include <matroska/KaxTrackVideo.h>
#include <matroska/KaxVersion.h>

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

#include "tools/extract/Codec.h"
#include "tools/extract/Format.h"

namespace tool {
namespace {

using libebml::AddNewChild;
using libebml::EbmlMaster;
using libebml::GetChild;

// These set the child of a type, which is made where there is none.
template <typename Element, typename Value>
void Set(EbmlMaster* parent, const Value& value) {
  GetChild<Element>(*parent).SetValue(value);
}
template <typename Element>
void SetText(EbmlMaster* parent, const std::string& utf8) {
  GetChild<Element>(*parent).SetValueUTF8(utf8);
}

void Put(const unsigned char* data, std::size_t size, libebml::EbmlBinary* element) {
  if (size != 0) element->CopyBuffer(data, static_cast<std::uint32_t>(size));
}

// The three letters of ISO 639-2 that Matroska had before it had RFC 5646, and that most
// readers go by; for what isn't listed "und".
const char* OldLanguage(const std::string& language) {
  static constexpr struct {
    const char *twoLetters, *threeLetters;
  } kLanguages[] = {
      {"ar", "ara"}, {"bg", "bul"}, {"ca", "cat"}, {"cs", "cze"}, {"da", "dan"}, {"de", "ger"},
      {"el", "gre"}, {"en", "eng"}, {"es", "spa"}, {"et", "est"}, {"eu", "baq"}, {"fa", "per"},
      {"fi", "fin"}, {"fr", "fre"}, {"ga", "gle"}, {"he", "heb"}, {"hi", "hin"}, {"hr", "hrv"},
      {"hu", "hun"}, {"id", "ind"}, {"is", "ice"}, {"it", "ita"}, {"ja", "jpn"}, {"ko", "kor"},
      {"lt", "lit"}, {"lv", "lav"}, {"ms", "may"}, {"nb", "nob"}, {"nl", "dut"}, {"nn", "nno"},
      {"no", "nor"}, {"pl", "pol"}, {"pt", "por"}, {"ro", "rum"}, {"ru", "rus"}, {"sk", "slo"},
      {"sl", "slv"}, {"sr", "srp"}, {"sv", "swe"}, {"th", "tha"}, {"tr", "tur"}, {"uk", "ukr"},
      {"vi", "vie"}, {"zh", "chi"},
  };
  for (const auto& row : kLanguages) {
    if (language.compare(0, language.find('-'), row.twoLetters) == 0) return row.threeLetters;
  }
  return "und";
}

// Letters, digits and hyphens, as a tag of a language has them.
bool IsLanguageTag(const std::string& language) {
  return !language.empty() && std::all_of(language.begin(), language.end(), [](unsigned char c) {
    return c == '-' || (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
  });
}

// What the stream is called, and its language.
void FillNames(const StreamSetup& setup, libmatroska::KaxTrackEntry* track) {
  const qo_host::ExtendedStream* const extended = setup.header.Extended(setup.stream.number);
  std::string language;
  if (extended != nullptr) {
    language = setup.header.Language(extended->language);
    const bool hasName = !extended->names.empty() && !extended->names.front().text.empty();
    if (hasName) SetText<libmatroska::KaxTrackName>(track, extended->names.front().text);
  }
  Set<libmatroska::KaxTrackLanguage>(track, OldLanguage(language));
  if (IsLanguageTag(language)) Set<libmatroska::KaxLanguageIETF>(track, language);
}

void FillVideo(const StreamSetup& setup, libmatroska::KaxTrackEntry* track) {
  auto& video = GetChild<libmatroska::KaxTrackVideo>(*track);
  const PictureSize size = PictureSizeOf(*setup.stream.video);
  Set<libmatroska::KaxVideoPixelWidth>(&video, size.width);
  Set<libmatroska::KaxVideoPixelHeight>(&video, size.height);
  const unsigned long long across = setup.header.TagNumber(setup.stream.number, "AspectRatioX");
  const unsigned long long down = setup.header.TagNumber(setup.stream.number, "AspectRatioY");
  constexpr unsigned long long kMaxTerm = 0xFFFF;
  const bool isOdd = across != 0 && down != 0 && across != down && across <= kMaxTerm &&
                     down <= kMaxTerm && size.width != 0;
  if (isOdd) {
    Set<libmatroska::KaxVideoDisplayWidth>(
        &video, std::max<std::uint64_t>((size.width * across + down / 2) / down, 1));
    Set<libmatroska::KaxVideoDisplayHeight>(&video, size.height);
  }
  // More than ten seconds is no frame's.
  constexpr unsigned long long kLongestFrame = 10ull * 10'000'000;
  const qo_host::ExtendedStream* const extended = setup.header.Extended(setup.stream.number);
  const unsigned long long frame = extended != nullptr ? extended->averageTimePerFrame : 0;
  if (frame != 0 && frame <= kLongestFrame)
    Set<libmatroska::KaxTrackDefaultDuration>(track, frame * 100);
}

void FillAudio(const StreamSetup& setup, const MatroskaCodec& codec,
               libmatroska::KaxTrackEntry* track) {
  auto& audio = GetChild<libmatroska::KaxTrackAudio>(*track);
  const qo_host::AudioFormat& format = *setup.stream.audio;
  Set<libmatroska::KaxAudioSamplingFreq>(&audio, format.samplesPerSecond);
  Set<libmatroska::KaxAudioChannels>(&audio, format.channels);
  if (codec.bitDepth != 0) Set<libmatroska::KaxAudioBitDepth>(&audio, codec.bitDepth);
}

// Matroska's name for a tag; its own where Matroska has none.
std::string TagNameOf(const std::string& name) {
  static const std::pair<const char*, const char*> kNames[] = {
      {"Title", "TITLE"},
      {"Author", "ARTIST"},
      {"Copyright", "COPYRIGHT"},
      {"Description", "DESCRIPTION"},
      {"WM/AlbumTitle", "ALBUM"},
      {"WM/AlbumArtist", "ALBUM_ARTIST"},
      {"WM/BeatsPerMinute", "BPM"},
      {"WM/Composer", "COMPOSER"},
      {"WM/Conductor", "CONDUCTOR"},
      {"WM/Director", "DIRECTOR"},
      {"WM/EncodedBy", "ENCODED_BY"},
      {"WM/EncodingSettings", "ENCODER_SETTINGS"},
      {"WM/Genre", "GENRE"},
      {"WM/ISRC", "ISRC"},
      {"WM/InitialKey", "INITIAL_KEY"},
      {"WM/Lyrics", "LYRICS"},
      {"WM/Mood", "MOOD"},
      {"WM/PartOfSet", "DISC"},
      {"WM/Producer", "PRODUCER"},
      {"WM/Publisher", "PUBLISHER"},
      {"WM/SubTitle", "SUBTITLE"},
      {"WM/TrackNumber", "PART_NUMBER"},
      {"WM/Writer", "WRITTEN_BY"},
      {"WM/Year", "DATE_RELEASED"},
  };
  for (const auto& [asf, matroska] : kNames) {
    if (name == asf) return matroska;
  }
  return name;
}

// Told elsewhere in the file: pictures are attached, the shape of pixels is the track's.
bool IsToldElsewhere(const qo_host::HeaderTag& tag) {
  return tag.name == "WM/Picture" || tag.name == "AspectRatioX" || tag.name == "AspectRatioY";
}

void FillSimpleTag(const qo_host::FileHeader& header, const qo_host::HeaderTag& tag,
                   EbmlMaster* parent) {
  auto& simple = AddNewChild<libmatroska::KaxTagSimple>(*parent);
  SetText<libmatroska::KaxTagName>(&simple, TagNameOf(tag.name));
  const std::string language = header.Language(tag.language);
  if (IsLanguageTag(language) && tag.origin == qo_host::TagOrigin::kMetadataLibrary)
    Set<libmatroska::KaxTagLanguageIETF>(&simple, language);
  if (!tag.text.empty()) {
    SetText<libmatroska::KaxTagString>(&simple, tag.text);
  } else {
    Put(header.Data(tag.value), tag.value.size, &GetChild<libmatroska::KaxTagBinary>(simple));
  }
}

// Those of a stream, or of the whole file; `track` is the UID there, 0 for the file.
void FillTagsOf(const qo_host::FileHeader& header, unsigned short stream, unsigned int track,
                libmatroska::KaxTags* tags) {
  // A title, say, may stand in two objects.
  std::set<std::tuple<std::string, std::string>> told;
  EbmlMaster* element = nullptr;
  for (const qo_host::HeaderTag& tag : header.tags) {
    if (tag.stream != stream || tag.value.size == 0 || IsToldElsewhere(tag)) continue;
    if (!tag.text.empty() && !told.emplace(tag.name, tag.text).second) continue;
    if (element == nullptr) {
      element = &AddNewChild<libmatroska::KaxTag>(*tags);
      auto& targets = GetChild<libmatroska::KaxTagTargets>(*element);
      if (track != 0) Set<libmatroska::KaxTagTrackUID>(&targets, track);
    }
    FillSimpleTag(header, tag, element);
  }
}

}  // namespace

void FillEbmlHead(libebml::EbmlHead* head) {
  Set<libebml::EDocType>(head, "matroska");
  Set<libebml::EDocTypeVersion>(head, 4);  // of what LanguageIETF came with
  Set<libebml::EDocTypeReadVersion>(head, 2);
}

void FillInfo(const qo_host::FileHeader& header, libmatroska::KaxInfo* info) {
  Set<libmatroska::KaxTimecodeScale>(info, kTimestampScale);
  SetText<libmatroska::KaxMuxingApp>(
      info, "libebml " + libebml::EbmlCodeVersion + ", libmatroska " + libmatroska::KaxCodeVersion);
  SetText<libmatroska::KaxWritingApp>(info, "asftool");
  const auto title = std::find_if(header.tags.begin(), header.tags.end(),
                                  [](const auto& tag) { return tag.name == "Title"; });
  if (title != header.tags.end() && !title->text.empty())
    SetText<libmatroska::KaxTitle>(info, title->text);
}

void FillTrack(const StreamSetup& setup, const MatroskaCodec& codec, unsigned int number,
               libmatroska::KaxTrackEntry* track) {
  const bool isVideo = setup.track.kind == qo_host::TrackKind::kVideo;
  Set<libmatroska::KaxTrackNumber>(track, number);
  Set<libmatroska::KaxTrackUID>(track, number);
  Set<libmatroska::KaxTrackType>(track, isVideo ? track_video : track_audio);
  Set<libmatroska::KaxTrackFlagLacing>(track, 0);
  FillNames(setup, track);
  Set<libmatroska::KaxCodecID>(track, codec.id);
  if (!codec.configuration.empty()) {
    Put(codec.configuration.data(), codec.configuration.size(),
        &GetChild<libmatroska::KaxCodecPrivate>(*track));
  }
  if (isVideo) {
    FillVideo(setup, track);
  } else {
    FillAudio(setup, codec, track);
  }
}

void FillChapters(const qo_host::FileHeader& header, libmatroska::KaxChapters* chapters) {
  if (header.markers.empty()) return;
  auto& edition = GetChild<libmatroska::KaxEditionEntry>(*chapters);
  const unsigned long long prerollMs = header.properties ? header.properties->prerollMs : 0;
  unsigned int number = 0;
  for (const qo_host::Marker& marker : header.markers) {
    auto& atom = AddNewChild<libmatroska::KaxChapterAtom>(edition);
    Set<libmatroska::KaxChapterUID>(&atom, ++number);
    const unsigned long long preroll = std::min(prerollMs * 10'000, marker.time);
    Set<libmatroska::KaxChapterTimeStart>(&atom, (marker.time - preroll) * 100);
    auto& display = GetChild<libmatroska::KaxChapterDisplay>(atom);
    SetText<libmatroska::KaxChapterString>(&display, marker.description);
    Set<libmatroska::KaxChapterLanguage>(&display, "und");
  }
}

void FillAttachments(const qo_host::FileHeader& header, libmatroska::KaxAttachments* attachments) {
  unsigned int number = 0;
  for (const qo_host::HeaderTag& tag : header.tags) {
    const std::optional<qo_host::Picture> picture = header.PictureOf(tag);
    if (!picture || picture->bytes.empty()) continue;
    const std::string ending = PictureEnding(picture->bytes);
    auto& file = AddNewChild<libmatroska::KaxAttached>(*attachments);
    const std::string name = number == 0 ? "cover" : "picture_" + std::to_string(number + 1);
    SetText<libmatroska::KaxFileName>(&file, name + ending);
    if (!picture->description.empty())
      SetText<libmatroska::KaxFileDescription>(&file, picture->description);
    Set<libmatroska::KaxMimeType>(&file, ending == ".png"   ? "image/png"
                                         : ending == ".jpg" ? "image/jpeg"
                                                            : "application/octet-stream");
    Set<libmatroska::KaxFileUID>(&file, ++number);
    Put(picture->bytes.data(), picture->bytes.size(), &GetChild<libmatroska::KaxFileData>(file));
  }
}

void FillTags(const qo_host::FileHeader& header, const std::vector<unsigned char>& streams,
              libmatroska::KaxTags* tags) {
  FillTagsOf(header, 0, 0, tags);
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const auto number = static_cast<unsigned int>(i + 1);
    if (streams[i] != 0) FillTagsOf(header, streams[i], number, tags);
  }
}

}  // namespace tool
