// The framework's classes, recording instead of acting. Definitions in the program override those
// of libphoneframework.so; the linker's --wrap redirects functions of other libraries.

#include <cxxabi.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <typeinfo>
#include <utility>

#include "framework/GPALSleep.h"
#include "framework/Semaphore.h"
#include "framework/Storage.h"
#include "framework/Threadable.h"
#include "framework/Threader.h"
#include "src/OBEXServiceIfc.h"
#include "tests/src/Recording.h"

namespace test {

namespace {

/// More entries than this in one sequence mean an endless loop.
constexpr std::size_t kMaxEntries = 2000;

Recording* g_current = nullptr;

std::string typeName(const Threadable& threadable) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(typeid(threadable).name(), nullptr, nullptr, &status), &std::free);
  return status == 0 ? name.get() : typeid(threadable).name();
}

std::string asText(const Entries& entries) {
  std::string text;
  for (const std::string& entry : entries) text += entry + '\n';
  return text;
}

std::string modeName(std::ios_base::openmode mode) {
  std::string name = (mode & std::ios_base::in) != 0 ? "in" : "";
  if ((mode & std::ios_base::out) != 0) name += "out";
  return name + ((mode & std::ios_base::binary) != 0 ? "|binary" : "");
}

}  // namespace

void expectEntries(const Entries& actual, const Entries& expected) {
  EXPECT_EQ(asText(actual), asText(expected));
}

Entries joined(const std::vector<Entries>& parts) {
  Entries all;
  for (const Entries& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Recording::Recording(std::string source) : m_source(std::move(source)) {
  if (g_current != nullptr) ADD_FAILURE() << "two recordings at a time";
  g_current = this;
  setLogLevel(kLogTrace);
  addLogSink(this);
}

Recording::~Recording() {
  removeLogSink(this);
  setLogLevel(kLogError);
  g_current = nullptr;
}

Recording* Recording::current() { return g_current; }

void Recording::add(const std::string& entry) {
  if (g_current == nullptr) return;
  g_current->m_entries.push_back(entry);
  if (g_current->m_entries.size() > kMaxEntries) {
    std::fputs("the code under test runs in an endless loop\n", stderr);
    std::abort();
  }
  if (const auto onEntry = std::exchange(g_current->onEntry, nullptr)) {
    onEntry(entry);
    g_current->onEntry = onEntry;
  }
}

void Recording::listenTo(openobex::fake::FakeOpenObex& obex) {
  obex.onCall = [](const openobex::fake::Call& call) {
    std::string entry = call.function;
    if (call.function == "OBEX_Cleanup" && call.handle == 0) entry += " null";
    for (const std::int64_t number : call.numbers) entry += " " + std::to_string(number);
    add(entry);
  };
}

long Recording::count(const std::string& entry) const {
  return std::count(m_entries.begin(), m_entries.end(), entry);
}

int Recording::liveContacts() const {
  return static_cast<int>(std::count_if(m_watched.begin(), m_watched.end(), [](const auto& object) {
    return object.second == "contact";
  }));
}

void Recording::write(const LogLine& line) {
  const std::string text(line.text);
  std::string source(line.source);
  if (line.component != "OBEX Service") {
    const bool isLife = text.starts_with(">CARD_") || text.starts_with(">~CARD_");
    if (line.component == "VCARD Parser" && isLife) add(source + ": " + text);
    return;
  }
  if (source.starts_with("./src/") && source.ends_with(".cpp")) {
    source = source.substr(6, source.size() - 10);
  }
  std::string entry = source == m_source ? "" : source + ": ";
  if (line.level == kLogError) {
    entry += "error: ";
  } else if (line.level != kLogTrace) {
    entry += "level " + std::to_string(line.level) + ": ";
  }
  add(entry + numberAddresses(text));
}

std::string Recording::numberAddresses(std::string text) {
  std::size_t begin = 0;
  while ((begin = text.find("0x", begin)) != std::string::npos) {
    const std::size_t end =
        std::min(text.find_first_not_of("0123456789abcdef", begin + 2), text.size());
    const std::string address = text.substr(begin, end - begin);
    auto known = std::find(m_addresses.begin(), m_addresses.end(), address);
    if (known == m_addresses.end()) known = m_addresses.insert(known, address);
    text.replace(begin, address.size(), "P" + std::to_string(known - m_addresses.begin() + 1));
  }
  return text;
}

const std::string& Recording::nameOf(const Semaphore* semaphore) {
  // The service has two and constructs them in this order.
  const auto [found, isNew] = m_semaphores.try_emplace(semaphore);
  if (isNew) found->second = m_semaphores.size() % 2 == 1 ? "observers" : "cards";
  return found->second;
}

void Recording::deleted(const void* object) {
  const auto found = m_watched.find(object);
  if (found == m_watched.end()) return;
  const std::string name = found->second;
  m_watched.erase(found);
  add("delete " + name);
}

}  // namespace test

using test::Recording;

Semaphore::Semaphore(int initial, int max, bool shared) : m_count(initial), m_max(max) {
  if (Recording* recording = Recording::current()) {
    Recording::add("semaphore " + recording->nameOf(this) + " " + std::to_string(initial) + " " +
                   std::to_string(max) + (shared ? " shared" : ""));
  }
}

bool Semaphore::take(int timeout) {
  if (Recording* recording = Recording::current()) {
    Recording::add("take " + recording->nameOf(this) +
                   (timeout == -1 ? "" : " " + std::to_string(timeout)));
  }
  if (m_count == 0) {
    ADD_FAILURE() << "deadlock: a semaphore is taken twice";
    return false;
  }
  --m_count;
  return true;
}

bool Semaphore::give() {
  const bool isTaken = m_count < m_max;
  if (isTaken) ++m_count;
  if (Recording* recording = Recording::current()) {
    Recording::add("give " + recording->nameOf(this));
  }
  return isTaken;
}

bool Threader::spawn(unsigned long& id, Threadable* threadable, const std::string& name,
                     GPALThreadPriority priority, int options) {
  Recording* recording = Recording::current();
  const std::string type = test::typeName(*threadable);
  Recording::add("spawn " + type + " '" + name + "' " + std::to_string(priority.value()) + " " +
                 std::to_string(options) + " into " + std::to_string(id));
  const bool runs = recording == nullptr || !recording->refusesThreads;
  if (recording != nullptr) {
    recording->threads[threadable] = {type, runs};
    if (runs) id = ++recording->lastThreadId;
  }
  return runs;
}

void Threader::destroy(unsigned long id) { Recording::add("destroy thread " + std::to_string(id)); }

void Threadable::waitForThreadCompletion() {
  Recording* recording = Recording::current();
  if (recording == nullptr) return;
  const auto found = recording->threads.find(this);
  if (found == recording->threads.end()) return;
  const Recording::Thread thread = found->second;
  recording->threads.erase(found);
  if (typeid(*this) == typeid(Threadable)) {
    ADD_FAILURE() << thread.type << " is deleted before the end of its thread";
    return;
  }
  Recording::add("wait for " + thread.type);
  if (thread.runs) run();
}

void GPALSleep::milliSleep(int milliseconds) {
  Recording::add("sleep " + std::to_string(milliseconds) + " ms");
}

class Storage::Impl {};

Storage::Storage() = default;

Storage::~Storage() = default;

bool Storage::init(const char* path, std::ios_base::openmode readMode,
                   std::ios_base::openmode writeMode) {
  Recording::add(std::string("storage init ") + path + " " + test::modeName(readMode) + " " +
                 test::modeName(writeMode));
  return !Recording::current()->refusesFiles;
}

bool Storage::store(const char* name, char* data, int size) {
  Recording::add(std::string("storage store ") + (name == nullptr ? "null" : name) + " " +
                 std::string(data, static_cast<std::size_t>(size)));
  return !Recording::current()->refusesBytes;
}

void Storage::shutdown() { Recording::add("storage shutdown"); }

// The names that --wrap gives to a function and to what takes its place: usleep, delete with and
// without a size, new without an exception, the copy constructor of a contact.
extern "C" {
int __wrap_usleep(useconds_t microseconds) {
  Recording::add("usleep " + std::to_string(microseconds));
  return 0;
}

void __real__ZdlPv(void* object);
void __wrap__ZdlPv(void* object) {
  if (Recording* recording = Recording::current()) recording->deleted(object);
  __real__ZdlPv(object);
}

void __real__ZdlPvm(void* object, std::size_t size);
void __wrap__ZdlPvm(void* object, std::size_t size) {
  if (Recording* recording = Recording::current()) recording->deleted(object);
  __real__ZdlPvm(object, size);
}

void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
  Recording* recording = Recording::current();
  const bool fails = recording != nullptr && recording->refusesAllocation;
  return fails ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void __real__ZN21obex_phonebook_data_tC1ERKS_(void* contact, const obex_phonebook_data_t& other);
void __wrap__ZN21obex_phonebook_data_tC1ERKS_(void* contact, const obex_phonebook_data_t& other) {
  __real__ZN21obex_phonebook_data_tC1ERKS_(contact, other);
  if (Recording* recording = Recording::current()) {
    Recording::add("copy contact");
    recording->watch(contact, "contact");
  }
}
}
