#include "host/bus/MainLoop.h"

#include <utility>

namespace host {
namespace {

/// A source that is dispatched whenever its ready time is set.
GSource* makeSource(GSourceFunc callback, gpointer data) {
  static GSourceFuncs functions = {nullptr,
                                   nullptr,
                                   [](GSource* source, GSourceFunc function, gpointer argument) {
                                     g_source_set_ready_time(source, -1);
                                     return function(argument);
                                   },
                                   nullptr,
                                   nullptr,
                                   nullptr};
  GSource* source = g_source_new(&functions, sizeof(GSource));
  g_source_set_callback(source, callback, data, nullptr);
  g_source_attach(source, nullptr);
  return source;
}

}  // namespace

MainLoop::MainLoop() : m_loop(Glib::MainLoop::create()), m_source(makeSource(&dispatch, this)) {}

MainLoop::~MainLoop() {
  g_source_destroy(m_source);
  g_source_unref(m_source);
}

void MainLoop::run() {
  {
    const std::lock_guard lock(m_mutex);
    if (m_quit) return;
  }
  m_loop->run();
}

void MainLoop::quit() {
  const std::lock_guard lock(m_mutex);
  m_quit = true;
  g_source_set_ready_time(m_source, 0);
}

void MainLoop::post(Task task) {
  const std::lock_guard lock(m_mutex);
  m_tasks.push_back(std::move(task));
  g_source_set_ready_time(m_source, 0);
}

gboolean MainLoop::dispatch(gpointer loop) {
  static_cast<MainLoop*>(loop)->runTasks();
  return G_SOURCE_CONTINUE;
}

void MainLoop::runTasks() {
  std::deque<Task> tasks;
  {
    const std::lock_guard lock(m_mutex);
    tasks.swap(m_tasks);
    if (m_quit) m_loop->quit();
  }
  for (const Task& task : tasks) task();
}

}  // namespace host
