#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/directory/PhoneBook.h"
#include "host/push/Journal.h"
#include "tests/host/directory/BookPlace.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/WaitFor.h"
#include "tests/tools/Program.h"

namespace test {

/// A journal in the test's own database, with or without a phonebook.
class JournalTest : public testing::Test {
 protected:
  std::string connection() const { return m_place->Connection(); }
  void openBook() {
    m_book = std::make_unique<host::PhoneBook>(host::PhoneBookOptions{connection()});
  }
  host::Journal& begin(long long rows = 10000, std::size_t waiting = 1000) {
    m_journal = std::make_unique<host::Journal>(connection(), host::Journal::Limits{rows, waiting});
    m_journal->start();
    return *m_journal;
  }
  static host::JournalEntry entry(long long number, const std::string& book = "stored") {
    host::JournalEntry entry;
    entry.number = number;
    entry.time = 1700000000000 + number;
    entry.peer = "66:77:88:99:AA:BB";
    entry.peerName = "Anna's \"phone\"";
    entry.object = "card.vcf";
    entry.size = 99;
    entry.link = "taken";
    entry.book = book;
    return entry;
  }

  /// The same entry as it is read back.
  static host::JournalEntry readEntry(long long number) {
    host::JournalEntry read = entry(number);
    read.phone = host::phoneOfRun(host::runId());
    return read;
  }

  TestFolder m_folder;
  const std::unique_ptr<BookPlace> m_place = MakeBookPlace(m_folder.file("book.db"));
  std::unique_ptr<host::PhoneBook> m_book;
  std::unique_ptr<host::Journal> m_journal;
};

}  // namespace test
