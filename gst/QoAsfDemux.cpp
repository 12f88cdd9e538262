// The element qoasfdemux as GStreamer sees it, and the plugin around it. What it does is
// Demuxer's.
#include "gst/QoAsfDemux.h"

#include <gst/gst.h>
#include <gst/riff/riff-media.h>
#include <gst/riff/riff-read.h>

#include "gst/Demuxer.h"
#include "gst/ExtraCaps.h"
#include "gst/ParserLog.h"

GST_DEBUG_CATEGORY(qoasfdemux_debug);

namespace {

struct QoAsfDemux {
  GstElement element;
  GstPad* sink;
  Demuxer* demuxer;
};
struct QoAsfDemuxClass {
  GstElementClass parent;
};

GstElementClass* parent_class = nullptr;

QoAsfDemux* Self(void* object) { return static_cast<QoAsfDemux*>(object); }
GObjectClass* ParentObject() { return reinterpret_cast<GObjectClass*>(parent_class); }

GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS,
                                                             GST_STATIC_CAPS("video/x-ms-asf"));

// Whether upstream can be read at any place.
bool CanPull(GstPad* sink) {
  GstQuery* const query = gst_query_new_scheduling();
  const bool canPull = gst_pad_peer_query(sink, query) &&
                       gst_query_has_scheduling_mode_with_flags(query, GST_PAD_MODE_PULL,
                                                                GST_SCHEDULING_FLAG_SEEKABLE);
  gst_query_unref(query);
  return canPull;
}

gboolean ActivateSink(GstPad* sink, GstObject*) {
  return gst_pad_activate_mode(sink, CanPull(sink) ? GST_PAD_MODE_PULL : GST_PAD_MODE_PUSH, TRUE);
}

gboolean ActivateSinkMode(GstPad*, GstObject* parent, GstPadMode mode, gboolean active) {
  Demuxer* const demuxer = Self(parent)->demuxer;
  if (active) {
    demuxer->Start(mode);
  } else {
    demuxer->Stop();
  }
  return TRUE;
}

GstFlowReturn Chain(GstPad*, GstObject* parent, GstBuffer* buffer) {
  return Self(parent)->demuxer->queue()->Push(buffer);
}

// Where the bytes come from that follow.
void BeginBytes(GstEvent* event, QueueSource* queue) {
  const GstSegment* segment = nullptr;
  gst_event_parse_segment(event, &segment);
  if (segment->format == GST_FORMAT_BYTES) queue->Restart(segment->start);
}

// What comes with pushed bytes is about these, not about the streams in them.
gboolean HandleSinkEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  QueueSource* const queue = Self(parent)->demuxer->queue();
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_EOS:
      if (queue != nullptr) queue->End();
      break;
    case GST_EVENT_SEGMENT:
      if (queue != nullptr) BeginBytes(event, queue);
      break;
    case GST_EVENT_FLUSH_START:
      if (queue != nullptr) queue->BeginFlush();
      break;
    case GST_EVENT_FLUSH_STOP:
      if (queue != nullptr) queue->EndFlush();
      break;
    case GST_EVENT_STREAM_START:
    case GST_EVENT_CAPS:
      break;
    default:
      // Downstream may be flushing, which is no reason for upstream to fail.
      gst_pad_event_default(pad, parent, event);
      return TRUE;
  }
  gst_event_unref(event);
  return TRUE;
}

gboolean HandleSourceEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  Demuxer* const demuxer = Self(parent)->demuxer;
  bool isDone;
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_SEEK:
      isDone = demuxer->Seek(event);
      break;
    case GST_EVENT_SELECT_STREAMS:
      isDone = demuxer->SelectStreams(event);
      break;
    default:
      return gst_pad_event_default(pad, parent, event);
  }
  gst_event_unref(event);
  return isDone;
}

gboolean HandleSourceQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  return Self(parent)->demuxer->Answer(query) || gst_pad_query_default(pad, parent, query);
}

// An application sends them to the element, for no pad in particular.
gboolean SendEvent(GstElement* element, GstEvent* event) {
  const bool isOurs =
      GST_EVENT_TYPE(event) == GST_EVENT_SEEK || GST_EVENT_TYPE(event) == GST_EVENT_SELECT_STREAMS;
  if (!isOurs) return parent_class->send_event(element, event);
  Demuxer* const demuxer = Self(element)->demuxer;
  const bool isDone = GST_EVENT_TYPE(event) == GST_EVENT_SEEK ? demuxer->Seek(event)
                                                              : demuxer->SelectStreams(event);
  gst_event_unref(event);
  return isDone;
}

gboolean AnswerQuery(GstElement* element, GstQuery* query) {
  return Self(element)->demuxer->Answer(query) || parent_class->query(element, query);
}

GstStateChangeReturn ChangeState(GstElement* element, GstStateChange transition) {
  const GstStateChangeReturn result = parent_class->change_state(element, transition);
  if (transition == GST_STATE_CHANGE_PAUSED_TO_READY) Self(element)->demuxer->Reset();
  return result;
}

void Finalize(GObject* object) {
  delete Self(object)->demuxer;
  ParentObject()->finalize(object);
}

void AddTemplate(GstElementClass* type, const char* name, GstCaps* known, const char* unknown) {
  gst_caps_append(known, gst_caps_new_empty_simple(unknown));
  gst_element_class_add_pad_template(
      type, gst_pad_template_new(name, GST_PAD_SRC, GST_PAD_SOMETIMES, known));
  gst_caps_unref(known);
}

void InitDemuxClass(void* type, void*) {
  parent_class = static_cast<GstElementClass*>(g_type_class_peek_parent(type));
  static_cast<GObjectClass*>(type)->finalize = Finalize;
  auto* const element = static_cast<GstElementClass*>(type);
  element->change_state = ChangeState;
  element->send_event = SendEvent;
  element->query = AnswerQuery;
  gst_element_class_set_static_metadata(
      element, "ASF demuxer", "Codec/Demuxer",
      "Takes WMA, WMV and other ASF files apart into their audio and video streams",
      "The qo_parser_asf authors");
  gst_element_class_add_static_pad_template(element, &sink_template);
  GstCaps* const video = gst_riff_create_video_template_caps();
  gst_caps_append(video, AllExtraCaps(qo_host::TrackKind::kVideo));
  AddTemplate(element, "video_%u", video, "video/x-asf-unknown");
  GstCaps* const audio = gst_riff_create_audio_template_caps();
  gst_caps_append(audio, gst_caps_new_empty_simple("audio/x-eac3"));
  gst_caps_append(audio, AllExtraCaps(qo_host::TrackKind::kAudio));
  AddTemplate(element, "audio_%u", audio, "audio/x-asf-unknown");
}

void InitDemux(GTypeInstance* instance, void*) {
  QoAsfDemux* const self = Self(instance);
  self->sink = gst_pad_new_from_static_template(&sink_template, "sink");
  gst_pad_set_activate_function(self->sink, ActivateSink);
  gst_pad_set_activatemode_function(self->sink, ActivateSinkMode);
  gst_pad_set_chain_function(self->sink, Chain);
  gst_pad_set_event_function(self->sink, HandleSinkEvent);
  gst_element_add_pad(&self->element, self->sink);
  self->demuxer = new Demuxer(&self->element, self->sink);
}

GType DemuxerType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_ELEMENT, "QoAsfDemux", sizeof(QoAsfDemuxClass), InitDemuxClass, sizeof(QoAsfDemux),
      InitDemux, static_cast<GTypeFlags>(0));
  return type;
}

gboolean InitPlugin(GstPlugin* plugin) {
  GST_DEBUG_CATEGORY_INIT(qoasfdemux_debug, "qoasfdemux", 0, "ASF demuxer");
  InitParserLog();
  gst_riff_init();
  return gst_element_register(plugin, "qoasfdemux", GST_RANK_PRIMARY, DemuxerType());
}

}  // namespace

void SetSourceFunctions(GstPad* pad) {
  gst_pad_set_event_function(pad, HandleSourceEvent);
  gst_pad_set_query_function(pad, HandleSourceQuery);
}

#define PACKAGE "qo_parser_asf"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, qoasf, "Plays WMA, WMV and other ASF files",
                  InitPlugin, QO_VERSION, "Apache 2.0", "qo_parser_asf", "Unknown package origin")
