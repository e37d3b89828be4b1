#pragma once

#include <string>

/// Who hears of what an EchoService is told.
class EchoServiceObserverIfc {
 public:
  virtual void told(const std::string& text, int number) = 0;

 protected:
  ~EchoServiceObserverIfc() = default;
};

/// A small service that has nothing to do with cards: it proves that the telephone serves any.
class EchoServiceIfc {
 public:
  virtual bool subscribe(EchoServiceObserverIfc* observer) = 0;
  virtual bool unsubscribe(EchoServiceObserverIfc* observer) = 0;
  /// Tells every observer `count` times, with numbers from 0, on the caller's thread.
  virtual void tell(const std::string& text, int count) = 0;
  /// The same on a thread of the service's own.
  virtual void tellLater(const std::string& text, int count) = 0;
  /// From now on observers can't be taken off any more: what a service does that is stuck.
  virtual void cling() = 0;
  /// The Directory Service's answer, empty when there is none.
  virtual std::string askDirectory(const std::string& request) = 0;
  /// Whether the Mobility Service took note of the file.
  virtual bool registerFile(const std::string& path) = 0;

 protected:
  ~EchoServiceIfc() = default;
};
