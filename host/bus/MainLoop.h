#pragma once

#include <giomm.h>

#include <deque>
#include <functional>
#include <mutex>

namespace host {

/// The main thread's event loop (GLib's default context), to which other threads can post tasks.
///
/// Threads: create, run and destroy it on the main thread; `post` and `quit` may be called from
/// any.
class MainLoop {
 public:
  using Task = std::function<void()>;

  MainLoop();
  /// Drops tasks that have not run.
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  /// Returns after `quit`, immediately if it has been called already.
  void run();
  void quit();
  /// Runs the task on the main thread. Tasks run in the order of posting.
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
