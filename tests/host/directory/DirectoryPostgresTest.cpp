#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/host/directory/DirectoryFixture.h"
#include "tests/host/directory/PostgresServer.h"
#include "tests/support/LogRecorder.h"

namespace test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// What is specific to a phonebook on a server.
class DirectoryPostgresTest : public DirectoryTest {
 protected:
  static PostgresServer& Server() { return PostgresServer::Get(); }
  void ExpectNotRead(const std::string& reason) {
    ExpectFailure(host::DirectoryClient::listRequest({Column::kSurname}), reason);
  }
  /// Runs this PL/pgSQL in every commit of a change.
  void AtEachCommit(const std::string& what) {
    Sql("CREATE FUNCTION at_commit() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN " + what +
        " RETURN NULL; END'; CREATE CONSTRAINT TRIGGER at_commit AFTER INSERT OR UPDATE OR DELETE "
        "ON entries DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION at_commit()");
  }
  std::string Count() { return Sql("SELECT COUNT(*) FROM entries"); }
  std::string OpeningProblemAt(const std::string& connection) const {
    host::PhoneBookOptions options = Options();
    options.connection = connection;
    return OpeningProblem(options);
  }
  /// The name of the test's database.
  std::string Database() { return Sql("SELECT current_database()"); }
  void OpenWithPatience(std::chrono::milliseconds timeout) {
    host::PhoneBookOptions options = Options();
    options.serverTimeout = timeout;
    m_service = std::make_unique<host::DirectoryService>(options);
  }
};

TEST_F(DirectoryPostgresTest, CreatesTheDocumentedTables) {
  StoreNamed("Doe");
  EXPECT_EQ(Sql("SELECT version FROM phonebook_version"), "1");
  EXPECT_EQ(Sql("SELECT id || ':' || size || ':' || encode(surname, 'escape') FROM entries"),
            "1:3:Doe");
  EXPECT_EQ(Sql("SELECT COUNT(*) FROM information_schema.columns WHERE table_name = 'entries'"),
            "16");
}

TEST_F(DirectoryPostgresTest, ReconnectsAfterARestartOfTheServer) {
  StoreNamed("before");
  Server().Restart();
  StoreNamed("after");
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryPostgresTest, FailsWhileTheServerIsDown) {
  StoreNamed("before");
  Server().Stop();
  ExpectNotStored("can't be reached");
  ExpectNotRead("can't be reached");
  ExpectNotDeleted("1", "can't be reached");
  Server().Start();
  StoreNamed("after");
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryPostgresTest, FailsToOpenWithoutAServer) {
  const std::string there = OpeningProblem();
  Server().Stop();
  const std::string gone = OpeningProblem();
  Server().Start();
  EXPECT_EQ(there, "");
  EXPECT_THAT(gone, HasSubstr("can't be reached"));
}

TEST_F(DirectoryPostgresTest, ReconnectsWhenTheServerEndsTheSession) {
  StoreNamed("before");
  Sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = current_database() "
      "AND application_name = 'phone-host'");
  StoreNamed("after");
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryPostgresTest, ReportsAnUnknownOutcomeWhenACommitLosesItsConnection) {
  StoreNamed("before");
  AtEachCommit("PERFORM pg_terminate_backend(pg_backend_pid());");
  ExpectNotStored("unknown whether the change was stored");
  Sql("DROP TRIGGER at_commit ON entries");
  EXPECT_THAT(Surnames(), ElementsAre("before"));
  StoreNamed("after");
}

TEST_F(DirectoryPostgresTest, NeverRepeatsAChange) {
  Open();
  AtEachCommit("PERFORM pg_terminate_backend(pg_backend_pid());");
  ExpectNotStored("unknown whether");
  // Two requests were made, each of which took one Id from the sequence.
  EXPECT_EQ(Sql("SELECT nextval(pg_get_serial_sequence('entries', 'id'))"), "3");
}

TEST_F(DirectoryPostgresTest, StoresNothingWhenTheServerIsTooSlow) {
  OpenWithPatience(std::chrono::milliseconds(500));
  StoreNamed("before");
  Sql("ALTER TABLE entries ADD CHECK (size < 7 OR pg_sleep(600) IS NULL)");
  ExpectNotStored("did not answer in time");
  StoreNamed("last");
  EXPECT_THAT(Surnames(), ElementsAre("before", "last"));
}

// The server's statement timeout doesn't apply to a commit.
TEST_F(DirectoryPostgresTest, ReportsAnUnknownOutcomeWhenACommitIsTooSlow) {
  OpenWithPatience(std::chrono::milliseconds(500));
  StoreNamed("before");
  AtEachCommit("PERFORM pg_sleep(600);");
  ExpectFailure(host::DirectoryClient::writeRequest({{Column::kSurname, kSecret}}),
                "unknown whether the change was stored");
  EXPECT_THAT(Surnames(), ElementsAre("before"));
}

TEST_F(DirectoryPostgresTest, FailsWhenTheServerHangs) {
  OpenWithPatience(std::chrono::milliseconds(500));
  StoreNamed("before");
  Server().Freeze();
  ExpectFailure(host::DirectoryClient::listRequest({Column::kSurname}), "can't be reached");
  Server().Thaw();
  StoreNamed("after");
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryPostgresTest, AppliesTheEntryLimitToAllTelephonesTogether) {
  host::PhoneBookOptions options = Options();
  options.maxEntries = 10;
  options.busyTimeout = std::chrono::seconds(60);
  host::DirectoryService first(options);
  host::DirectoryService second(options);
  std::atomic<int> stored{0};
  const auto fill = [&](host::DirectoryService& service) {
    for (int i = 0; i < 20; ++i) {
      const std::string request = host::DirectoryClient::writeRequest({{Column::kSurname, "x"}});
      const auto answer = host::DirectoryClient::parseAnswer(service.handleRequest(request));
      stored += answer.kind == DirectoryAnswer::Kind::kWritten ? 1 : 0;
    }
  };
  std::thread other([&] { fill(second); });
  fill(first);
  other.join();
  EXPECT_EQ(stored, 10);
  EXPECT_EQ(Count(), "10");
}

TEST_F(DirectoryPostgresTest, RefusesChangesToALockedEntry) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  std::thread other([&] {
    Sql("BEGIN; UPDATE entries SET size = size; SELECT pg_advisory_lock(1); SELECT pg_sleep(4); "
        "COMMIT");
  });
  while (Sql("SELECT COUNT(*) FROM pg_locks WHERE locktype = 'advisory' AND database = (SELECT oid "
             "FROM pg_database WHERE datname = current_database())") == "0") {
    std::this_thread::yield();
  }
  ExpectNotUpdated(id, {{Column::kSurname, kSecret}}, "is locked by another program");
  EXPECT_THAT(Surnames(), ElementsAre("Doe"));
  other.join();
  ExpectUpdated(id, {{Column::kSurname, "Roe"}});
}

TEST_F(DirectoryPostgresTest, DoesNotFetchAnAnswerThatIsTooLarge) {
  const std::string large(std::size_t{7} << 20, 'x');
  for (int i = 0; i < 9; ++i) Store({{Column::kEmail, large}});
  ExpectFailure(host::DirectoryClient::listRequest({Column::kEmail}), "larger than 60 MiB");
  EXPECT_EQ(Matching({{Column::kId, "9"}}).at(0).value(Column::kEmail), large);
}

TEST_F(DirectoryPostgresTest, LeavesADatabaseOfAnotherProgramAlone) {
  Sql("CREATE TABLE orders (n INTEGER)");
  EXPECT_THAT(OpeningProblem(), HasSubstr("is not a phonebook: it contains other tables"));
  EXPECT_EQ(Sql("SELECT COUNT(*) FROM pg_tables WHERE schemaname = 'public'"), "1");
}

TEST_F(DirectoryPostgresTest, CreatesNothingToSeeWhetherAPhonebookExists) {
  EXPECT_EQ(Existence(), "missing");
  EXPECT_EQ(Sql("SELECT COUNT(*) FROM pg_tables WHERE schemaname = 'public'"), "0");
  StoreNamed("Doe");
  EXPECT_EQ(Existence(), "there");
  Sql("UPDATE phonebook_version SET version = 2");
  EXPECT_THAT(Existence(), HasSubstr("newer version"));
}

TEST_F(DirectoryPostgresTest, AcceptsASchemaOfItsOwn) {
  Sql("CREATE TABLE orders (n INTEGER); CREATE SCHEMA phone");
  EXPECT_EQ(OpeningProblemAt(Connection() + "&options=-csearch_path%3Dphone"), "");
  EXPECT_EQ(Sql("SELECT COUNT(*) FROM phone.entries"), "0");
}

TEST_F(DirectoryPostgresTest, LeavesAPhonebookOfANewerVersionAlone) {
  StoreNamed("Doe");
  Close();
  Sql("UPDATE phonebook_version SET version = 2");
  EXPECT_THAT(OpeningProblem(), HasSubstr("newer version"));
}

TEST_F(DirectoryPostgresTest, FailsWithoutEchoingValuesWhenTheTableIsMissing) {
  StoreNamed("before");
  Sql("DROP TABLE entries");
  ExpectNotStored("no such table");
  ExpectNotRead("no such table");
}

TEST_F(DirectoryPostgresTest, ReportsServerErrorsWithoutEchoingValues) {
  StoreNamed("before");
  Sql("ALTER TABLE entries ADD CHECK (size < 7)");
  const LogRecorder log;
  ExpectNotStored("its server reports the error 23514");
  EXPECT_THAT(log.texts(), Not(IsEmpty()));
  EXPECT_THAT(log.texts(), Each(Not(HasSubstr("Zyzzogeton"))));
}

TEST_F(DirectoryPostgresTest, FailsForAUserWithoutPermission) {
  StoreNamed("before");
  Sql("DROP ROLE IF EXISTS guest; CREATE ROLE guest LOGIN");
  std::string connection = Connection();
  connection.replace(connection.find("phone@"), 5, "guest");
  EXPECT_THAT(OpeningProblemAt(connection), HasSubstr("its user lacks permission"));
}

TEST_F(DirectoryPostgresTest, ReadsFromAReadOnlyServer) {
  StoreNamed("before");
  Sql("ALTER DATABASE " + Database() + " SET default_transaction_read_only = on");
  Restart();
  ExpectNotStored("its server is read-only");
  EXPECT_THAT(Surnames(), ElementsAre("before"));
}

/// Connections to a server that requires a password.
class DirectoryPostgresPasswordTest : public DirectoryPostgresTest {
 protected:
  void SetUp() override {
    DirectoryPostgresTest::SetUp();
    Sql("DROP ROLE IF EXISTS keeper; CREATE ROLE keeper LOGIN PASSWORD 'geheim/@ 1'");
    Sql("GRANT ALL ON SCHEMA public TO keeper");
  }
  void TearDown() override {
    ::unsetenv("PGPASSWORD");
    ::unsetenv("PGPASSFILE");
    DirectoryPostgresTest::TearDown();
  }
  std::string ProblemOf(const std::string& user) {
    return OpeningProblemAt(Server().RemoteConnection(user, Database()));
  }
};

TEST_F(DirectoryPostgresPasswordTest, OpensWithTheRightPassword) {
  EXPECT_EQ(ProblemOf("keeper:geheim%2F%40%201"), "");
}

TEST_F(DirectoryPostgresPasswordTest, FailsWithAWrongPasswordWithoutShowingIt) {
  EXPECT_THAT(ProblemOf("keeper:Zyzzogeton"),
              AllOf(HasSubstr("password authentication failed"), Not(HasSubstr("Zyzzogeton"))));
}

TEST_F(DirectoryPostgresPasswordTest, NeverShowsAPasswordThatBreaksTheUri) {
  for (const char* user : {"keeper:Zyzzo@geton", "keeper:Zyzzo/geton", "keeper:Zyzzo%geton",
                           "keeper:Zyzzo geton", "keeper:1/Zyzzo@geton", "keeper:Zyzzo?geton"}) {
    EXPECT_THAT(ProblemOf(user),
                AllOf(Not(IsEmpty()), Not(HasSubstr("Zyzzo")), Not(HasSubstr("geton"))))
        << user;
  }
}

TEST_F(DirectoryPostgresPasswordTest, TakesThePasswordFromTheEnvironment) {
  EXPECT_THAT(ProblemOf("keeper"), HasSubstr("no password supplied"));
  ::setenv("PGPASSWORD", "geheim/@ 1", 1);
  EXPECT_EQ(ProblemOf("keeper"), "");
}

TEST_F(DirectoryPostgresPasswordTest, TakesThePasswordFromAFile) {
  const std::string file = m_folder + "/passwords";
  WriteFile(file, "127.0.0.1:*:*:keeper:geheim/@ 1\n");
  std::filesystem::permissions(file, std::filesystem::perms::owner_read);
  ::setenv("PGPASSFILE", file.c_str(), 1);
  EXPECT_EQ(ProblemOf("keeper"), "");
}

TEST_F(DirectoryPostgresPasswordTest, FailsForAnInvalidServerName) {
  EXPECT_THAT(OpeningProblemAt("postgresql://x@127.0.0.1:1/db"), HasSubstr("can't be reached"));
  EXPECT_THAT(OpeningProblemAt("postgresql://x@127.0.0.1:port/db"), HasSubstr("names no server"));
  EXPECT_THAT(OpeningProblemAt("postgresql://[::1/db"),
              HasSubstr("is not a PostgreSQL connection"));
  EXPECT_THAT(OpeningProblemAt("postgresql://h/db?nonsense=1"),
              HasSubstr("is not a PostgreSQL connection"));
}

}  // namespace
}  // namespace test
