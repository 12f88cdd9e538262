// GLib's locks stand on futexes, of which the thread sanitizer knows nothing: it would call
// each hand-over between threads of GStreamer's a race. Under it these functions take their
// place in the whole program and tell it what they do. Otherwise this source is empty.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)

#pragma GCC visibility push(default)
#include <glib-object.h>
#pragma GCC visibility pop

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

// GLib's own function of that name.
template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// A wait gives the lock back and takes it again.
template <typename Wait>
auto Waiting(GMutex* mutex, Wait wait) {
  __tsan_mutex_pre_unlock(mutex, 0);
  __tsan_mutex_post_unlock(mutex, 0);
  const auto result = wait();
  __tsan_mutex_pre_lock(mutex, 0);
  __tsan_mutex_post_lock(mutex, 0, 0);
  return result;
}

// What a pool of threads runs.
struct Work {
  GFunc function;
  gpointer data;
};

void Run(gpointer task, gpointer work) {
  __tsan_acquire(task);
  static_cast<Work*>(work)->function(task, static_cast<Work*>(work)->data);
}

// Whose reference this thread is giving back.
thread_local gpointer unreferenced = nullptr;

}  // namespace

extern "C" {

// What is left over works with counts of references and free lists of GLib's own, which
// aren't seen either: the last owner's free, and what the next one fills.
const char* __tsan_default_suppressions() {
  return "race:g_error_free\nrace:g_slice_alloc0\nrace:g_slice_copy\n";
}

// A pool lives as long as the program, and so does what it runs.
GThreadPool* g_thread_pool_new(GFunc function, gpointer data, gint maxThreads, gboolean exclusive,
                               GError** error) {
  static const auto real =
      Real<GThreadPool*(GFunc, gpointer, gint, gboolean, GError**)>("g_thread_pool_new");
  return real(Run, new Work{function, data}, maxThreads, exclusive, error);
}

gboolean g_thread_pool_push(GThreadPool* pool, gpointer task, GError** error) {
  static const auto real = Real<gboolean(GThreadPool*, gpointer, GError**)>("g_thread_pool_push");
  __tsan_release(task);
  return real(pool, task, error);
}

// Counts of references are atomics of GLib's own. The last owner of an object clears its
// locks after all that the owners before did.
void g_object_unref(gpointer object) {
  static const auto real = Real<void(gpointer)>("g_object_unref");
  __tsan_release(object);
  const gpointer outer = unreferenced;
  unreferenced = object;
  real(object);
  unreferenced = outer;
}

void g_rec_mutex_clear(GRecMutex* mutex) {
  static const auto real = Real<void(GRecMutex*)>("g_rec_mutex_clear");
  if (unreferenced != nullptr) __tsan_acquire(unreferenced);
  real(mutex);
}

// Free lists hand memory from thread to thread.
gpointer g_slice_alloc(gsize size) {
  static const auto real = Real<gpointer(gsize)>("g_slice_alloc");
  const gpointer memory = real(size);
  __tsan_acquire(memory);
  return memory;
}

void g_slice_free1(gsize size, gpointer memory) {
  static const auto real = Real<void(gsize, gpointer)>("g_slice_free1");
  __tsan_release(memory);
  real(size, memory);
}

void g_mutex_lock(GMutex* mutex) {
  static const auto real = Real<void(GMutex*)>("g_mutex_lock");
  __tsan_mutex_pre_lock(mutex, 0);
  real(mutex);
  __tsan_mutex_post_lock(mutex, 0, 0);
}

gboolean g_mutex_trylock(GMutex* mutex) {
  static const auto real = Real<gboolean(GMutex*)>("g_mutex_trylock");
  __tsan_mutex_pre_lock(mutex, __tsan_mutex_try_lock);
  const gboolean isLocked = real(mutex);
  __tsan_mutex_post_lock(mutex, isLocked ? __tsan_mutex_try_lock : __tsan_mutex_try_lock_failed, 0);
  return isLocked;
}

void g_mutex_unlock(GMutex* mutex) {
  static const auto real = Real<void(GMutex*)>("g_mutex_unlock");
  __tsan_mutex_pre_unlock(mutex, 0);
  real(mutex);
  __tsan_mutex_post_unlock(mutex, 0);
}

void g_cond_wait(GCond* condition, GMutex* mutex) {
  static const auto real = Real<void(GCond*, GMutex*)>("g_cond_wait");
  Waiting(mutex, [&] { return real(condition, mutex), 0; });
}

gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end) {
  static const auto real = Real<gboolean(GCond*, GMutex*, gint64)>("g_cond_wait_until");
  return Waiting(mutex, [&] { return real(condition, mutex, end); });
}
}

#endif
#endif
