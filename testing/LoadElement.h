// For the main source of a program that plays through the GStreamer element.
#ifndef QO_TESTING_LOADELEMENT_H
#define QO_TESTING_LOADELEMENT_H

#include <gst/gst.h>

#include <cstdio>

// GLib leaves one table behind while it is loaded: by the leak checker's own unwinding
// that can't be told from others.
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
extern "C" const char* __lsan_default_suppressions() { return "leak:call_init"; }

// Begins with GStreamer; false, and says so, without the element. No other plugin is looked
// at but the framework's core: some leak what they allocate when they are.
inline bool LoadElement(int* argc, char*** argv) {
  for (const char* name : {"GST_PLUGIN_PATH_1_0", "GST_PLUGIN_SYSTEM_PATH_1_0"})
    g_setenv(name, "", TRUE);
  g_setenv("GST_REGISTRY_1_0", QO_REGISTRY, TRUE);
  gst_registry_fork_set_enabled(FALSE);
  gst_init(argc, argv);
  for (const char* path : {QO_CORE_ELEMENTS, QO_PLUGIN}) {
    GstPlugin* const plugin = gst_plugin_load_file(path, nullptr);
    if (plugin == nullptr) return std::fprintf(stderr, "%s can't be loaded\n", path), false;
    gst_object_unref(plugin);
  }
  return true;
}

#endif  // QO_TESTING_LOADELEMENT_H
