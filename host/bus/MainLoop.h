#pragma once

#include <giomm.h>

#include <deque>
#include <functional>
#include <mutex>

namespace host {

/// The main thread's loop over GLib's default context, with a way in for other threads.
///
/// Threads: `run` and the object's life belong to the main thread; `post` and `quit` may be called
/// from any.
class MainLoop {
 public:
  using Task = std::function<void()>;

  MainLoop();
  /// Tasks that were not run are dropped.
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  /// Serves the context until `quit`; at once if it was called already.
  void run();
  void quit();
  /// Runs the task on the main thread, after the ones posted before.
  void post(Task task);

 private:
  static gboolean dispatch(gpointer loop);
  void runTasks();

  const Glib::RefPtr<Glib::MainLoop> m_loop;
  GSource* m_source;
  std::mutex m_mutex;
  // Guarded by m_mutex:
  std::deque<Task> m_tasks;
  bool m_quit = false;
};

}  // namespace host
