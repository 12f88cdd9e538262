// What becomes of a buffer that somebody keeps, keeps a part of, or changes, while the
// element makes more.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "testing/SampleFiles.h"

namespace {

std::string BytesOf(GstBuffer* buffer) {
  GstMapInfo map;
  gst_buffer_map(buffer, &map, GST_MAP_READ);
  std::string bytes(reinterpret_cast<const char*>(map.data), map.size);
  gst_buffer_unmap(buffer, &map);
  return bytes;
}

using Kept = std::vector<std::pair<GstBuffer*, std::string>>;

// Keeps, in turn, a buffer, a part of its memory, and nothing of one that gets metadata, and
// of one that becomes longer.
void OnHandoff(GstElement*, GstBuffer* buffer, Kept* kept) {
  static GstCaps* const clock = gst_caps_new_empty_simple("timestamp/x-test");
  EXPECT_EQ(nullptr, gst_buffer_get_reference_timestamp_meta(buffer, nullptr));
  EXPECT_EQ(1u, gst_buffer_n_memory(buffer));
  switch (GST_BUFFER_PTS(buffer) / GST_MSECOND % 4) {
    case 0:
      kept->emplace_back(gst_buffer_ref(buffer), BytesOf(buffer));
      break;
    case 1:
      buffer = gst_buffer_copy_region(buffer, GST_BUFFER_COPY_MEMORY, 10, 40);
      kept->emplace_back(buffer, BytesOf(buffer));
      break;
    case 2:
      gst_buffer_add_reference_timestamp_meta(buffer, clock, 0, 0);
      break;
    default:
      gst_buffer_append_memory(buffer, gst_allocator_alloc(nullptr, 8, nullptr));
  }
}

TEST(GStreamer, WhatIsKeptOfABufferStaysAsItIs) {
  const auto sample = std::filesystem::path(QO_SAMPLES_DIR) / "wmv2_wma2.wmv";
  const std::string launch = "filesrc location=\"" + sample.string() +
                             "\" ! qoasfdemux ! audio/x-wma ! identity name=probe "
                             "signal-handoffs=true ! fakesink sync=false async=false";
  GstElement* const pipeline = gst_parse_launch(launch.c_str(), nullptr);
  GstElement* const probe = gst_bin_get_by_name(GST_BIN(pipeline), "probe");
  Kept kept;
  g_signal_connect(probe, "handoff", G_CALLBACK(OnHandoff), &kept);
  GstBus* const bus = gst_element_get_bus(pipeline);
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  const auto types = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
  GstMessage* const message = gst_bus_timed_pop_filtered(bus, 60 * GST_SECOND, types);
  ASSERT_NE(nullptr, message);
  EXPECT_EQ(GST_MESSAGE_EOS, GST_MESSAGE_TYPE(message));
  gst_message_unref(message);
  EXPECT_LT(10u, kept.size());
  for (const auto& [buffer, bytes] : kept) EXPECT_EQ(bytes, BytesOf(buffer));
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(bus);
  gst_object_unref(probe);
  gst_object_unref(pipeline);
  // They outlive the element.
  for (const auto& [buffer, bytes] : kept) {
    EXPECT_EQ(bytes, BytesOf(buffer));
    gst_buffer_unref(buffer);
  }
}

}  // namespace
