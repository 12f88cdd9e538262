// Demuxer: what it tells of the file and of where it is.
#include "gst/Demuxer.h"

Demuxer::Shown Demuxer::GetShown() const {
  const std::lock_guard<std::mutex> lock(shownLock_);
  return shown_;
}

bool Demuxer::Answer(GstQuery* query) const {
  switch (GST_QUERY_TYPE(query)) {
    case GST_QUERY_DURATION:
      return AnswerDuration(query);
    case GST_QUERY_POSITION:
      return AnswerPosition(query);
    case GST_QUERY_SEEKING:
      return AnswerSeeking(query);
    case GST_QUERY_SEGMENT:
      return AnswerSegment(query);
    default:
      return false;
  }
}

bool Demuxer::AnswerDuration(GstQuery* query) const {
  GstFormat format;
  gst_query_parse_duration(query, &format, nullptr);
  if (format == GST_FORMAT_BYTES) return gst_pad_peer_query(sink_, query);
  const Shown shown = GetShown();
  const bool isKnown = !shown.pads.empty() && GST_CLOCK_TIME_IS_VALID(shown.segment.duration);
  if (format != GST_FORMAT_TIME || !isKnown) return false;
  gst_query_set_duration(query, format, static_cast<gint64>(shown.segment.duration));
  return true;
}

bool Demuxer::AnswerPosition(GstQuery* query) const {
  GstFormat format;
  gst_query_parse_position(query, &format, nullptr);
  const Shown shown = GetShown();
  if (format != GST_FORMAT_TIME || shown.pads.empty()) return false;
  const GstClockTime position =
      gst_segment_to_stream_time(&shown.segment, GST_FORMAT_TIME, position_);
  gst_query_set_position(query, format, static_cast<gint64>(position));
  return GST_CLOCK_TIME_IS_VALID(position);
}

bool Demuxer::AnswerSeeking(GstQuery* query) const {
  GstFormat format;
  gst_query_parse_seeking(query, &format, nullptr, nullptr, nullptr);
  const Shown shown = GetShown();
  const bool isKnown = !shown.pads.empty() && GST_CLOCK_TIME_IS_VALID(shown.segment.duration);
  gst_query_set_seeking(query, format, format == GST_FORMAT_TIME && shown.canSeek, 0,
                        isKnown ? static_cast<gint64>(shown.segment.duration) : -1);
  return true;
}

bool Demuxer::AnswerSegment(GstQuery* query) const {
  const Shown shown = GetShown();
  if (shown.pads.empty()) return false;
  const GstSegment& segment = shown.segment;
  const GstClockTime stop = GST_CLOCK_TIME_IS_VALID(segment.stop) ? segment.stop : segment.duration;
  const GstClockTime start = gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, segment.start);
  gst_query_set_segment(query, segment.rate, GST_FORMAT_TIME, static_cast<gint64>(start),
                        static_cast<gint64>(stop));
  return true;
}
