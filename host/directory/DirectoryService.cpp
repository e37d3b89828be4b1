#include "host/directory/DirectoryService.h"

#include <exception>
#include <new>
#include <utility>

#include "framework/Logging.h"
#include "host/directory/DirectoryClient.h"
#include "host/directory/DirectoryResponse.h"

namespace host {

namespace {

// Only faults of the phonebook are logged; an invalid request concerns its sender, who gets the
// reason as the answer.
void logProblem(const std::exception& problem) {
  logAppUni("Directory Service", "DirectoryService", kLogError, __LINE__, "%s", problem.what());
}

[[noreturn]] void refuseUnknown() { throw DirectoryRefusal(kUnknownId); }

}  // namespace

DirectoryService::DirectoryService(PhoneBookOptions options)
    : m_book(std::make_unique<PhoneBook>(std::move(options))) {}

DirectoryService::~DirectoryService() = default;

void DirectoryService::init(Context& context) { static_cast<void>(context); }

void DirectoryService::shutdown() {
  const std::lock_guard<std::mutex> guard(m_lock);
  m_book.reset();
}

std::string DirectoryService::handleRequest(const std::string& request) noexcept {
  try {
    try {
      return answer(request);
    } catch (const DirectoryRefusal& refusal) {
      return DirectoryResponse::failure(refusal.what());
    } catch (const PhoneBookError& problem) {
      logProblem(problem);
      return DirectoryResponse::failure(problem.what());
    } catch (const std::bad_alloc& problem) {
      logProblem(problem);
      return DirectoryResponse::failure("There is not enough memory for this request.");
    } catch (const std::exception& problem) {
      logProblem(problem);
      return DirectoryResponse::failure("The phonebook has an internal error; see the log.");
    }
  } catch (...) {
    // Short enough not to allocate.
    return "failure";
  }
}

std::string DirectoryService::answer(const std::string& request) {
  const DirectoryRequest parsed = DirectoryRequest::parse(request);
  switch (parsed.kind()) {
    case DirectoryRequest::Kind::kRead:
      return read(parsed);
    case DirectoryRequest::Kind::kWrite:
      return write(parsed);
    case DirectoryRequest::Kind::kUpdate:
      return update(parsed);
    case DirectoryRequest::Kind::kDelete:
      return remove(parsed);
  }
  throw DirectoryRefusal("The phonebook doesn't know this kind of request.");
}

std::string DirectoryService::read(const DirectoryRequest& request) {
  DirectoryResponse response(request.resultColumns());
  const std::lock_guard<std::mutex> guard(m_lock);
  openBook().read(request.resultColumns(), request.entry(),
                  [&](const std::vector<std::string>& values) { response.add(values); });
  return response.finish();
}

std::string DirectoryService::write(const DirectoryRequest& request) {
  const std::lock_guard<std::mutex> guard(m_lock);
  return DirectoryResponse::written(openBook().write(request.entry()));
}

std::string DirectoryService::update(const DirectoryRequest& request) {
  const std::lock_guard<std::mutex> guard(m_lock);
  if (!openBook().update(request.id(), request.entry())) refuseUnknown();
  return DirectoryResponse::updated(request.id());
}

std::string DirectoryService::remove(const DirectoryRequest& request) {
  const std::lock_guard<std::mutex> guard(m_lock);
  if (!openBook().remove(request.id())) refuseUnknown();
  return DirectoryResponse::deleted(request.id());
}

PhoneBook& DirectoryService::openBook() {
  if (!m_book) throw DirectoryRefusal("The phonebook is closed: the phone is shutting down.");
  return *m_book;
}

}  // namespace host
