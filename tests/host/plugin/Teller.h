#pragma once

#include <string>

#include "framework/Threadable.h"
#include "tests/host/plugin/EchoServiceIfc.h"

/// A thread that tells a service's observers something.
class Teller : public Threadable {
 public:
  Teller(EchoServiceIfc& service, const std::string& text, int count)
      : m_service(service), m_text(text), m_count(count) {}
  void run() override { m_service.tell(m_text, m_count); }

 private:
  EchoServiceIfc& m_service;
  const std::string m_text;
  const int m_count;
};
