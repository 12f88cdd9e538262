// The GStreamer element as applications use it: in a pipeline, with sinks that write
// down what comes.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "testing/AsfBuilder.h"
#include "testing/LoadElement.h"
#include "testing/Random.h"
#include "testing/SampleFiles.h"

namespace {

struct Frame {
  long long ms;
  bool isKey;
  std::string md5;
  bool isDiscont = false;
  long long fileMs = 0;  // the DTS where there is one

  bool operator==(const Frame& other) const { return ms == other.ms && md5 == other.md5; }
};
std::ostream& operator<<(std::ostream& out, const Frame& frame) {
  return out << frame.ms << (frame.isKey ? " key " : " ") << frame.md5;
}
using Frames = std::vector<Frame>;

// What one pad brought.
struct Recording {
  Frames frames;
  long long startMs = -1;  // of the last segment
  double rate = 0;         // of the last segment
  std::string events;      // their names
  std::string caps;
};

std::string Md5(GstBuffer* buffer) {
  GstMapInfo map;
  gst_buffer_map(buffer, &map, GST_MAP_READ);
  gchar* const text = g_compute_checksum_for_data(G_CHECKSUM_MD5, map.data, map.size);
  gst_buffer_unmap(buffer, &map);
  std::string md5 = text;
  g_free(text);
  return md5;
}

// How the bytes come: a queue can't be pulled through, but sought in; a pipe neither.
enum class Way { kPulled, kPushed, kPiped };

class Player {
 public:
  explicit Player(const std::string& bytes, Way way = Way::kPulled, const char* between = "") {
    static int count = 0;
    path_ = testing::TempDir() + "gstreamer_test_" + std::to_string(getpid()) + "_" +
            std::to_string(++count) + ".asf";
    std::ofstream(path_, std::ios::binary) << bytes;
    if (way == Way::kPiped) pipe_ = popen(("cat '" + path_ + "'").c_str(), "r");
    const std::string source = way == Way::kPiped ? "fdsrc fd=" + std::to_string(fileno(pipe_))
                                                  : "filesrc location=\"" + path_ + "\"";
    const std::string launch =
        source + (way == Way::kPushed ? " ! queue" : "") + between + " ! qoasfdemux name=demux";
    pipeline_ = gst_parse_launch(launch.c_str(), nullptr);
    demux_ = gst_bin_get_by_name(GST_BIN(pipeline_), "demux");
    g_signal_connect_swapped(demux_, "pad-added", G_CALLBACK(OnPad), this);
    g_signal_connect_swapped(demux_, "pad-removed", G_CALLBACK(OnPadRemoved), this);
    bus_ = gst_element_get_bus(pipeline_);
    gst_element_set_state(pipeline_, GST_STATE_PLAYING);
  }
  ~Player() {
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    // A thread of the framework's may be the last owner, later.
    g_signal_handlers_disconnect_by_data(demux_, this);
    gst_object_unref(bus_);
    gst_object_unref(demux_);
    gst_object_unref(pipeline_);
    if (pipe_ != nullptr) pclose(pipe_);
    std::remove(path_.c_str());
  }

  GstElement* pipeline() const { return pipeline_; }
  GstElement* demux() const { return demux_; }

  // Waits for the end: "" for the end of stream, "segment done", or an error's domain and
  // code. Warnings on the way are counted.
  std::string Wait() {
    constexpr GstClockTime kPatience = 60 * GST_SECOND;
    const auto types = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR |
                                                   GST_MESSAGE_WARNING | GST_MESSAGE_SEGMENT_DONE);
    while (GstMessage* message = gst_bus_timed_pop_filtered(bus_, kPatience, types)) {
      const GstMessageType type = GST_MESSAGE_TYPE(message);
      std::string words;
      if (type == GST_MESSAGE_WARNING) ++warnings;
      if (type == GST_MESSAGE_ERROR) words = ErrorWords(message);
      gst_message_unref(message);
      if (type == GST_MESSAGE_SEGMENT_DONE) words = "segment done";
      if (type != GST_MESSAGE_WARNING) return words;
    }
    return "nothing happens";
  }

  bool Seek(GstSeekFlags flags, long long startMs, long long stopMs = -1, double rate = 1) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      for (auto& [name, recording] : recordings_) recording.frames.clear();
    }
    return gst_element_seek(demux_, rate, GST_FORMAT_TIME,
                            static_cast<GstSeekFlags>(flags | GST_SEEK_FLAG_FLUSH),
                            GST_SEEK_TYPE_SET, startMs * GST_MSECOND, GST_SEEK_TYPE_SET,
                            stopMs < 0 ? -1 : stopMs * GST_MSECOND);
  }

  std::map<std::string, Recording> recordings() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return recordings_;
  }

  int warnings = 0;

 private:
  static std::string ErrorWords(GstMessage* message) {
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    std::string words = g_quark_to_string(error->domain);
    words += " " + std::to_string(error->code);
    g_error_free(error);
    return words;
  }

  static void OnPad(Player* self, GstPad* pad) {
    GstElement* const sink = gst_element_factory_make("fakesink", nullptr);
    g_object_set(sink, "sync", FALSE, "async", FALSE, nullptr);
    g_object_set_data_full(G_OBJECT(sink), "pad", gst_pad_get_name(pad), g_free);
    gst_bin_add(GST_BIN(self->pipeline_), sink);
    GstPad* const target = gst_element_get_static_pad(sink, "sink");
    gst_pad_add_probe(target, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, OnEvent, self, nullptr);
    gst_pad_add_probe(target, GST_PAD_PROBE_TYPE_BUFFER, OnBuffer, self, nullptr);
    gst_pad_link(pad, target);
    gst_object_unref(target);
    // Not as the pipeline is, which may be about to change: this sink would stay behind.
    gst_element_set_state(sink, GST_STATE_PLAYING);
    self->sinks_[pad] = sink;
  }

  // A sink without a stream would wait for its end for ever.
  static void OnPadRemoved(Player* self, GstPad* pad) {
    const auto found = self->sinks_.find(pad);
    if (found == self->sinks_.end()) return;
    gst_element_set_locked_state(found->second, TRUE);
    gst_element_set_state(found->second, GST_STATE_NULL);
    gst_bin_remove(GST_BIN(self->pipeline_), found->second);
    self->sinks_.erase(found);
  }

  Recording& Of(GstElement* sink) {
    return recordings_[static_cast<const char*>(g_object_get_data(G_OBJECT(sink), "pad"))];
  }

  // In front of the sink, which drops what lies outside its segment.
  static GstPadProbeReturn OnBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
    auto* const self = static_cast<Player*>(data);
    GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    GstElement* const sink = gst_pad_get_parent_element(pad);
    {
      const std::lock_guard<std::mutex> lock(self->mutex_);
      self->Of(sink).frames.push_back(
          {static_cast<long long>(GST_BUFFER_PTS(buffer) / GST_MSECOND),
           !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT), Md5(buffer),
           GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT),
           static_cast<long long>(GST_BUFFER_DTS_OR_PTS(buffer) / GST_MSECOND)});
    }
    gst_object_unref(sink);
    return GST_PAD_PROBE_OK;
  }

  static GstPadProbeReturn OnEvent(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
    auto* const self = static_cast<Player*>(data);
    GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
    GstElement* const sink = gst_pad_get_parent_element(pad);
    {
      const std::lock_guard<std::mutex> lock(self->mutex_);
      self->Of(sink).events += std::string(GST_EVENT_TYPE_NAME(event)) + " ";
      if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
        const GstSegment* segment = nullptr;
        gst_event_parse_segment(event, &segment);
        self->Of(sink).startMs = static_cast<long long>(segment->start / GST_MSECOND);
        self->Of(sink).rate = segment->rate;
      } else if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
        GstCaps* caps = nullptr;
        gst_event_parse_caps(event, &caps);
        gchar* const text = gst_caps_to_string(caps);
        self->Of(sink).caps = text;
        g_free(text);
      }
    }
    gst_object_unref(sink);
    return GST_PAD_PROBE_OK;
  }

  std::string path_;
  FILE* pipe_ = nullptr;
  GstElement* pipeline_ = nullptr;
  GstElement* demux_ = nullptr;
  GstBus* bus_ = nullptr;
  std::map<GstPad*, GstElement*> sinks_;
  std::mutex mutex_;
  std::map<std::string, Recording> recordings_;
};

// What another program reads from a sample, stream by stream, in the order of the file.
std::map<int, Frames> Companion(const std::filesystem::path& sample) {
  std::ifstream lines(sample.string() + ".packets.tsv");
  std::map<int, Frames> streams;
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    int stream = 0, size = 0;
    Frame frame = {};
    fields >> stream >> frame.ms >> size >> frame.isKey >> frame.md5;
    streams[stream].push_back(frame);
  }
  return streams;
}

TEST(GStreamer, PlaysEverySampleWithTheTimesThatAnotherProgramReads) {
  for (const std::filesystem::path& sample : SamplePaths()) {
    SCOPED_TRACE(sample.filename().string());
    Player player(FileBytes(sample));
    ASSERT_EQ("", player.Wait());
    std::vector<std::pair<int, Recording>> pads;
    for (const auto& [name, recording] : player.recordings())
      pads.emplace_back(std::stoi(name.substr(name.find('_') + 1)), recording);
    std::sort(pads.begin(), pads.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    std::size_t k = 0;
    for (const auto& [stream, expected] : Companion(sample)) {
      if (expected.size() == 1) continue;  // a picture among the tags
      ASSERT_LT(k, pads.size());
      const Recording& pad = pads[k++].second;
      EXPECT_EQ("stream-start caps segment stream-collection tag tag eos ", pad.events);
      ASSERT_EQ(expected.size(), pad.frames.size()) << pad.caps;
      const bool isRewritten = pad.caps.find("byte-stream") != std::string::npos;
      for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(expected[i].ms, pad.frames[i].fileMs) << i;
        ASSERT_EQ(expected[i].isKey, pad.frames[i].isKey) << i;
        ASSERT_TRUE(isRewritten || expected[i].md5 == pad.frames[i].md5) << i;
      }
    }
    EXPECT_EQ(k, pads.size());
  }
}

struct SeekKind {
  const char* name;
  int flags;
};
constexpr SeekKind kSeekKinds[] = {
    {"accurate", GST_SEEK_FLAG_ACCURATE},
    {"key frame before", GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_BEFORE},
    {"key frame after", GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_AFTER},
    {"nearest key frame", GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_NEAREST},
};

// Where a seek of a kind must land in what a play-out brings: an index.
std::size_t Landing(const Frames& all, int flags, long long targetMs) {
  std::size_t before = 0, after = all.size();
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!all[i].isKey) continue;
    if (all[i].ms <= targetMs) before = i;
    if (all[i].ms >= targetMs) after = std::min(after, i);
  }
  const bool mayFollow = (flags & GST_SEEK_FLAG_KEY_UNIT) && (flags & GST_SEEK_FLAG_SNAP_AFTER);
  if (!mayFollow || after == all.size()) return before;
  const bool isNearest = (flags & GST_SEEK_FLAG_SNAP_NEAREST) == GST_SEEK_FLAG_SNAP_NEAREST;
  const bool isNearer = all[after].ms - targetMs < targetMs - all[before].ms;
  return !isNearest || isNearer || all[before].ms > targetMs ? after : before;
}

TEST(GStreamer, SeeksLandWhereAPlayOutHasTheFrame) {
  constexpr int kSeeks = 12;
  const std::pair<const char*, Way> files[] = {{"wmv2_wma2.wmv", Way::kPulled},
                                               {"mpeg4_mp3.asf", Way::kPulled},
                                               {"h264_aac.asf", Way::kPulled},
                                               {"h264_aac.asf", Way::kPushed},
                                               {"two_audio.wmv", Way::kPulled}};
  for (const auto& [name, way] : files) {
    Player player(FileBytes(std::filesystem::path(QO_SAMPLES_DIR) / name), way);
    ASSERT_EQ("", player.Wait());
    const auto all = player.recordings();
    long long lastMs = 0;
    for (const auto& [pad, recording] : all) lastMs = std::max(lastMs, recording.frames.back().ms);
    Random random(7);
    for (const SeekKind& kind : kSeekKinds) {
      for (int n = 0; n < kSeeks; ++n) {
        const auto target = static_cast<long long>(random.Below(lastMs));
        SCOPED_TRACE(std::string(name) + " " + kind.name + " " + std::to_string(target));
        ASSERT_TRUE(player.Seek(static_cast<GstSeekFlags>(kind.flags), target));
        ASSERT_EQ("", player.Wait());
        long long startMs = target;
        for (const auto& [pad, recording] : player.recordings()) {
          const Frames& out = all.at(pad).frames;
          ASSERT_FALSE(recording.frames.empty()) << pad;
          const auto first = std::find(out.begin(), out.end(), recording.frames.front());
          // Whatever came first, the rest is the play-out's to its end.
          EXPECT_EQ(Frames(first, out.end()), recording.frames) << pad;
          startMs = recording.startMs;
          if (pad.find("video") == 0) {
            EXPECT_EQ(out[Landing(out, kind.flags, target)], recording.frames.front());
            EXPECT_TRUE((kind.flags & GST_SEEK_FLAG_ACCURATE) == 0 || target == startMs);
          }
        }
        // Audio is there from the segment's beginning on, if it has any there.
        for (const auto& [pad, recording] : player.recordings()) {
          EXPECT_EQ(startMs, recording.startMs);
          const long long ahead = recording.frames.front().ms;
          EXPECT_TRUE(ahead <= startMs || recording.frames.size() == all.at(pad).frames.size())
              << pad << " begins at " << ahead;
        }
      }
    }
  }
}

TEST(GStreamer, PlaysWhatIsPushedAsWhatItPulls) {
  for (const std::filesystem::path& sample : SamplePaths()) {
    SCOPED_TRACE(sample.filename().string());
    Player pulled(FileBytes(sample));
    ASSERT_EQ("", pulled.Wait());
    for (const Way way : {Way::kPushed, Way::kPiped}) {
      Player pushed(FileBytes(sample), way);
      ASSERT_EQ("", pushed.Wait());
      for (const auto& [pad, recording] : pulled.recordings())
        EXPECT_EQ(recording.frames, pushed.recordings()[pad].frames) << pad;
      EXPECT_EQ(way == Way::kPushed, pushed.Seek(GST_SEEK_FLAG_KEY_UNIT, 0));
    }
  }
}

TEST(GStreamer, ASeekEndsAtItsStop) {
  Player player(FileBytes(std::filesystem::path(QO_SAMPLES_DIR) / "wmv2_wma2.wmv"));
  ASSERT_EQ("", player.Wait());
  ASSERT_TRUE(player.Seek(GST_SEEK_FLAG_ACCURATE, 500, 1200));
  ASSERT_EQ("", player.Wait());
  for (const auto& [pad, recording] : player.recordings()) {
    EXPECT_GE(1300, recording.frames.back().ms) << pad;
    EXPECT_LE(1100, recording.frames.back().ms) << pad;
  }
}

TEST(GStreamer, PlaysKeyFramesOnlyWhereThatIsWanted) {
  Player player(FileBytes(std::filesystem::path(QO_SAMPLES_DIR) / "h264_aac.asf"));
  ASSERT_EQ("", player.Wait());
  Frames keys;
  const auto all = player.recordings();
  for (const Frame& frame : all.at("video_1").frames) {
    if (frame.isKey) keys.push_back(frame);
  }
  ASSERT_TRUE(player.Seek(static_cast<GstSeekFlags>(GST_SEEK_FLAG_TRICKMODE_KEY_UNITS |
                                                    GST_SEEK_FLAG_TRICKMODE_NO_AUDIO),
                          0));
  ASSERT_EQ("", player.Wait());
  EXPECT_EQ(keys, player.recordings().at("video_1").frames);
  EXPECT_TRUE(player.recordings().at("audio_2").frames.empty());
}

// Played backwards: the pieces, each of which begins with a mark, in the order of the file.
Frames InOrder(const Frames& frames) {
  Frames ordered;
  for (auto end = frames.end(); end != frames.begin();) {
    auto begin = end - 1;
    while (begin != frames.begin() && !begin->isDiscont) --begin;
    ordered.insert(ordered.end(), begin, end);
    end = begin;
  }
  return ordered;
}

TEST(GStreamer, PlaysFasterAndBackwardsWhatItPlaysForward) {
  const struct {
    const char* file;
    double rate;
    long long startMs, stopMs;
    std::size_t minPieces;
  } rows[] = {
      {"wmv2_wma2.wmv", 2, 0, -1, 1},      {"wmv2_wma2.wmv", -1, 0, -1, 2},
      {"two_audio.wmv", -1, 0, -1, 2},     {"mpeg4_mp3.asf", -2, 0, -1, 2},
      {"h264_aac.asf", -1, 700, 1500, 1},  {"tags.wma", -1, 0, -1, 2},
      {"mpeg2_mp2.asf", -0.5, 0, 1800, 2}, {"wmv1_wma1_p500.wmv", -4, 0, -1, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.file) + " " + std::to_string(row.rate));
    Player player(FileBytes(std::filesystem::path(QO_SAMPLES_DIR) / row.file));
    ASSERT_EQ("", player.Wait());
    const auto all = player.recordings();
    ASSERT_TRUE(player.Seek(GST_SEEK_FLAG_ACCURATE, row.startMs, row.stopMs, row.rate));
    ASSERT_EQ("", player.Wait());
    for (const auto& [pad, recording] : player.recordings()) {
      EXPECT_EQ(row.rate, recording.rate) << pad;
      const Frames played = row.rate < 0 ? InOrder(recording.frames) : recording.frames;
      const Frames& out = all.at(pad).frames;
      ASSERT_FALSE(played.empty()) << pad;
      const auto first = std::find(out.begin(), out.end(), played.front());
      ASSERT_LE(played.size(), static_cast<std::size_t>(out.end() - first)) << pad;
      EXPECT_EQ(Frames(first, first + static_cast<std::ptrdiff_t>(played.size())), played) << pad;
      EXPECT_TRUE(first == out.begin() || first->ms <= row.startMs) << pad << first->ms;
      const auto missing = std::count_if(
          first + static_cast<std::ptrdiff_t>(played.size()), out.end(),
          [&](const Frame& frame) { return row.stopMs < 0 || frame.ms < row.stopMs; });
      EXPECT_EQ(0, missing) << pad;
      std::size_t pieces = 0;
      for (const Frame& frame : recording.frames) {
        pieces += frame.isDiscont;
        EXPECT_TRUE(frame.isKey || !frame.isDiscont) << pad << frame;
      }
      EXPECT_LE(row.minPieces, pieces) << pad;
    }
  }
}

// A segment that ends says so, and the next one follows without a flush.
TEST(GStreamer, LoopsWithoutAFlush) {
  Player player(FileBytes(std::filesystem::path(QO_SAMPLES_DIR) / "wmv2_wma2.wmv"));
  ASSERT_EQ("", player.Wait());
  ASSERT_TRUE(player.Seek(GST_SEEK_FLAG_SEGMENT, 0));
  ASSERT_EQ("segment done", player.Wait());
  ASSERT_TRUE(gst_element_seek(player.demux(), 1, GST_FORMAT_TIME, GST_SEEK_FLAG_NONE,
                               GST_SEEK_TYPE_SET, 0, GST_SEEK_TYPE_NONE, 0));
  ASSERT_EQ("", player.Wait());
  for (const auto& [pad, recording] : player.recordings()) {
    const std::size_t half = recording.frames.size() / 2;
    const auto middle = recording.frames.begin() + static_cast<std::ptrdiff_t>(half);
    EXPECT_EQ(Frames(recording.frames.begin(), middle), Frames(middle, recording.frames.end()));
  }
}

AsfFile Seconds() {
  AsfFile file({Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2")),
                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0xFF))});
  for (unsigned int k = 0; k < 40; ++k) {
    const Bytes number = std::to_string(100 + k);
    file.packets.push_back(Packet({Media(2, 3000 + 500 * k, "video" + number).Key(k % 2 == 0),
                                   Media(1, 3000 + 500 * k, "audio" + number)}));
  }
  file.duration = 23ull * 10000000;
  return file;
}

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(GStreamer, NamesCodecsByTagAndConfiguration) {
  const auto audio = [](int tag, const Bytes& config = {}) {
    return Stream(ID_AUDIO_MEDIA, 1, AudioFormat(tag, 16000, 100, config));
  };
  const auto video = [](const char* fourCc) {
    return Stream(ID_VIDEO_MEDIA, 1, VideoFormat(fourCc));
  };
  const struct {
    Bytes stream;
    const char* caps;  // a part of them
  } rows[] = {
      {audio(0x161), "audio/x-wma, wmaversion=(int)2, bitrate=(int)128000"},
      {audio(0x566F, "\2\1\3ABBBC"), "streamheader=(buffer)< 41, 424242, 43 >"},
      // Reaches behind its end.
      {audio(0x566F, "\2\1\xFF\3ABB"), "streamheader=(buffer)< 0201ff03414242, "},
      {audio(0xA109, "Speex"), "streamheader=(buffer)< 5370656578, 1f000000"},
      {audio(0x1234), "audio/x-asf-unknown, codec_id=(int)4660"},
      {video("wmv3"), "video/x-wmv, wmvversion=(int)3"},
      {video("wmv3"), "format=(string)WMV3"},
      {video("DIV2"), "video/x-msmpeg, msmpegversion=(int)42"},
      {video("vp90"), "video/x-vp9"},
      {video("ABCD"), "video/x-asf-unknown, fourcc=(string)ABCD"},
  };
  for (const auto& row : rows) {
    AsfFile file({row.stream});
    file.packets = {Packet({Media(1, 3000, "unit").Key()}), Packet({Media(1, 3100, "unit").Key()})};
    Player player(Text(file.Build()));
    EXPECT_EQ("", player.Wait()) << row.caps;
    for (const auto& [pad, recording] : player.recordings())
      EXPECT_NE(std::string::npos, recording.caps.find(row.caps)) << recording.caps;
    EXPECT_EQ(1u, player.recordings().size()) << row.caps;
  }
}

TEST(GStreamer, SaysWhatIsWrong) {
  AsfFile encrypted = Seconds();
  encrypted.header.push_back(Object(ID_CONTENT_ENCRYPTION_OBJECT, Bytes(16, '\0')));
  AsfFile hollow = Seconds();
  for (Packet& packet : hollow.packets) packet.payloads.clear();
  const std::string good = Text(Seconds().Build());
  const struct {
    const char* name;
    std::string bytes;
    int code;
  } rows[] = {
      {"no ASF", std::string(5000, 'x'), GST_STREAM_ERROR_WRONG_TYPE},
      {"encrypted", Text(encrypted.Build()), GST_STREAM_ERROR_DECRYPT},
      {"no payload in any packet", Text(hollow.Build()), GST_STREAM_ERROR_DEMUX},
      {"cut in the header", good.substr(0, 60), GST_STREAM_ERROR_DEMUX},
  };
  for (const auto& row : rows) {
    Player player(row.bytes);
    EXPECT_EQ("gst-stream-error-quark " + std::to_string(row.code), player.Wait()) << row.name;
  }
}

// Players wait until each pad has brought something.
TEST(GStreamer, AStreamWithoutUnitsHasNoPad) {
  AsfFile file = Seconds();
  for (Packet& packet : file.packets) packet.payloads.pop_back();
  for (const Way way : {Way::kPulled, Way::kPushed, Way::kPiped}) {
    Player player(Text(file.Build()), way);
    EXPECT_EQ("", player.Wait());
    EXPECT_EQ(1u, player.recordings().count("video_2"));
    EXPECT_EQ(1u, player.recordings().size());
  }
}

TEST(GStreamer, WhatFailsUpstreamIsTheError) {
  AsfFile file = Seconds();
  file.packetLength = 50'000;
  for (const Way way : {Way::kPulled, Way::kPushed, Way::kPiped}) {
    Player player(Text(file.Build()), way, " ! identity error-after=8");
    EXPECT_EQ("gst-core-error-quark " + std::to_string(GST_CORE_ERROR_FAILED), player.Wait());
  }
}

TEST(GStreamer, APacketThatMakesNoSenseIsAWarning) {
  AsfFile file = Seconds();
  std::string bytes = Text(file.Build());
  const std::size_t victim = bytes.find("video120");
  ASSERT_NE(std::string::npos, victim);
  // Of the payload's replicated data nothing is left.
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(victim) - 17, 10, '\xFF');
  Player player(bytes);
  EXPECT_EQ("", player.Wait());
  EXPECT_EQ(1, player.warnings);
  EXPECT_LE(38u, player.recordings().at("video_2").frames.size());
}

// Before the sparse stream's next unit is known, the others' of tens of megabytes have
// passed.
TEST(GStreamer, StreamsThatLieFarApartAreWhole) {
  AsfFile file({Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2")),
                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0xFF))});
  constexpr unsigned int kUnits = 480;
  file.packetLength = 60'000;
  for (unsigned int k = 0; k < kUnits; ++k) {
    const bool isSparse = k % (kUnits - 1) == 0;
    file.packets.push_back(
        isSparse ? Packet({Media(2, 3000 + 100 * k, "video").Key(), Media(1, 3000 + 100 * k, "x")})
                 : Packet({Media(1, 3000 + 100 * k, Bytes(50'000, 'a'))}));
  }
  file.duration = 51ull * 10000000;
  for (const Way way : {Way::kPulled, Way::kPushed, Way::kPiped}) {
    Player player(Text(file.Build()), way);
    ASSERT_EQ("", player.Wait());
    EXPECT_EQ(0, player.warnings);
    EXPECT_EQ(2u, player.recordings().at("video_2").frames.size());
    EXPECT_EQ(kUnits, player.recordings().at("audio_1").frames.size());
  }
}

TEST(GStreamer, SelectsStreamsWhilePlaying) {
  Player player(FileBytes(std::filesystem::path(QO_SAMPLES_DIR) / "two_audio.wmv"));
  ASSERT_EQ("", player.Wait());
  const std::size_t all = player.recordings().at("audio_2").frames.size();
  GstPad* const kept = gst_element_get_static_pad(player.demux(), "audio_2");
  ASSERT_NE(nullptr, kept);
  gchar* const id = gst_pad_get_stream_id(kept);
  GList* ids = g_list_append(nullptr, id);
  ASSERT_TRUE(gst_element_send_event(player.demux(), gst_event_new_select_streams(ids)));
  g_list_free_full(ids, g_free);
  gst_object_unref(kept);
  ASSERT_TRUE(player.Seek(GST_SEEK_FLAG_ACCURATE, 0));
  EXPECT_EQ("", player.Wait());
  for (const auto& [pad, recording] : player.recordings())
    EXPECT_EQ(pad == "audio_2" ? all : 0u, recording.frames.size()) << pad;
}

TEST(GStreamer, StateChangesAndSeeksAtAnyMomentEndWell) {
  // Each repetition of the test takes other moments.
  static unsigned int seed = 11;
  Random random(++seed);
  for (int round = 0; round < 25; ++round) {
    SCOPED_TRACE(seed);
    Player player(FileBytes(std::filesystem::path(QO_SAMPLES_DIR) / "two_audio.wmv"),
                  round % 2 == 0 ? Way::kPulled : Way::kPushed);
    for (int step = 0; step < 6; ++step) {
      g_usleep(random.Below(3000));
      static constexpr GstState kStates[] = {GST_STATE_READY, GST_STATE_PAUSED, GST_STATE_PLAYING};
      if (random.Below(2) == 0) {
        gst_element_set_state(player.pipeline(), kStates[random.Below(3)]);
      } else {
        player.Seek(GST_SEEK_FLAG_KEY_UNIT, static_cast<long long>(random.Below(2000)));
      }
    }
    gst_element_set_state(player.pipeline(), GST_STATE_PLAYING);
    ASSERT_EQ("", player.Wait()) << round;
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!LoadElement(&argc, &argv)) return 2;
  const int result = RUN_ALL_TESTS();
  gst_deinit();
  return result;
}
