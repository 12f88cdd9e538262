// Plays the seeded mutations of real files through the GStreamer element: ElementMain N INPUT
// FILE... Case k is the same on every machine, but for the moments of its seeks. INPUT is
// where each case's file is written, so that it is there after a crash. The program is ended by
// a signal where something hangs or GLib has something critical to say.
#include <gst/gst.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz/Mutation.h"
#include "testing/LoadElement.h"
#include "testing/SampleFiles.h"

namespace {

constexpr unsigned int kMaxSeconds = 60;  // that a case may take, under the sanitizers too

struct Outcomes {
  unsigned long ends = 0;
  unsigned long errors = 0;
  unsigned long seeks = 0;
};

// Pulled, pushed with seeks or from a pipe; now and then slowly, cut off, or failing on the way.
std::string Launch(const std::string& path, FILE* pipe, Random* random) {
  std::string launch = "filesrc location=\"" + path + "\" ! ";
  if (pipe != nullptr) {
    launch = "fdsrc fd=" + std::to_string(fileno(pipe)) + " ! ";
  } else if (random->Below(2) == 0) {
    launch += "queue ! ";
  }
  const std::string number = std::to_string(1 + random->Below(12));
  switch (random->Below(6)) {
    case 0:
      launch += "identity error-after=" + number + " ! ";
      break;
    case 1:
      launch += "identity eos-after=" + number + " ! ";
      break;
    case 2:
      launch += "identity sleep-time=" + number + "00 ! ";
      break;
    default:
      break;
  }
  return launch + "qoasfdemux name=demux";
}

void OnPad(GstBin* pipeline, GstPad* pad) {
  GstElement* const sink = gst_element_factory_make("fakesink", nullptr);
  g_object_set(sink, "sync", FALSE, "async", FALSE, nullptr);
  gst_bin_add(pipeline, sink);
  GstPad* const target = gst_element_get_static_pad(sink, "sink");
  gst_pad_link(pad, target);
  gst_object_unref(target);
  gst_element_sync_state_with_parent(sink);
}

// Any seek that an application may ask for. `*number` becomes the one by which its end is to be
// known, or 0: without a flush nothing follows where all had ended already.
bool SeekAnywhere(GstElement* demux, Random* random, guint32* number) {
  static constexpr double kRates[] = {1, 1, 2, -1, -3};
  static constexpr int kFlags[] = {GST_SEEK_FLAG_ACCURATE, GST_SEEK_FLAG_KEY_UNIT,
                                   GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_NEAREST,
                                   GST_SEEK_FLAG_TRICKMODE_KEY_UNITS};
  const int flush = random->Below(4) != 0 ? GST_SEEK_FLAG_FLUSH : 0;
  const auto start = static_cast<gint64>(random->Below(4000) * GST_MSECOND);
  const auto length = static_cast<gint64>(random->Below(4000) * GST_MSECOND);
  GstEvent* const seek = gst_event_new_seek(
      kRates[random->Below(std::size(kRates))], GST_FORMAT_TIME,
      static_cast<GstSeekFlags>(flush | kFlags[random->Below(std::size(kFlags))]),
      GST_SEEK_TYPE_SET, start, GST_SEEK_TYPE_SET, random->Below(2) != 0 ? start + length : -1);
  const guint32 itsNumber = gst_event_get_seqnum(seek);
  if (!gst_element_send_event(demux, seek)) return false;
  *number = flush != 0 ? itsNumber : 0;
  return true;
}

// Up to an error, or to the end of what `seek` began; of anything where that is 0.
void Await(GstElement* pipeline, guint32 seek, Outcomes* outcomes) {
  GstBus* const bus = gst_element_get_bus(pipeline);
  for (bool isOver = false; !isOver;) {
    GstMessage* const message = gst_bus_timed_pop_filtered(
        bus, GST_CLOCK_TIME_NONE, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const bool isError = GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR;
    isOver = isError || seek == 0 || gst_message_get_seqnum(message) == seek;
    if (isOver) ++(isError ? outcomes->errors : outcomes->ends);
    gst_message_unref(message);
  }
  gst_object_unref(bus);
}

void Play(const std::string& path, Random* random, Outcomes* outcomes) {
  FILE* const pipe = random->Below(3) == 0 ? popen(("cat '" + path + "'").c_str(), "r") : nullptr;
  GstElement* const pipeline = gst_parse_launch(Launch(path, pipe, random).c_str(), nullptr);
  GstElement* const demux = gst_bin_get_by_name(GST_BIN(pipeline), "demux");
  g_signal_connect_swapped(demux, "pad-added", G_CALLBACK(OnPad), pipeline);
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  guint32 seek = 0;
  for (std::size_t seeks = random->Below(4); seeks > 0; --seeks) {
    g_usleep(random->Below(15000));
    outcomes->seeks += SeekAnywhere(demux, random, &seek);
  }
  // Some are taken down wherever they are.
  if (random->Below(4) != 0) Await(pipeline, seek, outcomes);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(demux);
  gst_object_unref(pipeline);
  if (pipe != nullptr) pclose(pipe);
}

}  // namespace

int main(int argc, char** argv) {
  if (!LoadElement(&argc, &argv)) return 2;
  if (argc < 4) return std::fprintf(stderr, "usage: %s N INPUT FILE...\n", argv[0]), 2;
  g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
  const unsigned long cases = std::strtoul(argv[1], nullptr, 10);
  std::vector<std::string> files;
  for (int k = 3; k < argc; ++k) files.push_back(FileBytes(argv[k]));

  Outcomes outcomes;
  for (unsigned long k = 0; k < cases; ++k) {
    std::ofstream(argv[2], std::ios::binary) << MutatedFile(files, k);
    Random random(static_cast<unsigned int>(k));
    alarm(kMaxSeconds);
    Play(argv[2], &random, &outcomes);
  }
  std::printf("%lu cases: %lu ended, %lu with an error, %lu seeks\n", cases, outcomes.ends,
              outcomes.errors, outcomes.seeks);
  gst_deinit();
  return 0;
}
