// Faults of the machine, not of the input: a disk that fills during a file
// check-in, a repository that turns read-only, a database another process
// keeps locked. Each gives a clear error, loses nothing stored, and the same
// session works once the cause is gone.

#include "session_fixture.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iostream>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/store/DatabaseOpener.h>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

class EnvironmentFaultTest : public RepositoryTest {
 protected:
  UDMItemPtr StoredPart(const std::string& name) {
    UDMItemPtr part = m_session->CreateEntity(kClassPart, name, UDMUID());
    part->Persist("", GDM_RECURSE_NONE, -1, false, true);
    return part;
  }
  std::size_t FilesOf(const std::string& name) {
    UDMItemPtr found = boost::dynamic_pointer_cast<UDMSession>(OpenSession("bob"))->FindLatest(Find(name)->GetUID().GetDmUid());
    vqStlVector<UDMGenericDocument> files;
    found->GetFileInfoList(files, false);
    return files.size();
  }
  UDMItemPtr Find(const std::string& name) {
    vqStlVector<boost::shared_ptr<UDMItem>> found;
    m_session->ExecuteQuery(m_session->CreateQuery("name = '" + name + "'", false, 0), 1, false, found);
    return found.empty() ? UDMItemPtr() : found.front();
  }
};

}  // namespace

// The file-size limit stands in for a full disk: the vault's writes fail
// the way they would (EFBIG instead of ENOSPC), in a child process so the
// limit binds nothing else.
TEST_P(EnvironmentFaultTest, AFullDiskFailsTheCheckInCleanlyAndTheSessionRecovers) {
  if (IsPostgres()) GTEST_SKIP() << "the server writes the contents, not this process";
  StoredPart("kept");
  const fs::path big = m_dir / "scan.bin";
  std::ofstream(big, std::ios::binary) << std::string(4 << 20, 's');
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // 0: refused and then stored; 1: stored despite the full disk; 2: no
    // clear error; 3: not stored once there was room again.
    int outcome = 0;
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    rlimit tight = limit;
    tight.rlim_cur = 1 << 20;
    ::setrlimit(RLIMIT_FSIZE, &tight);
    UDMItemPtr part = m_session->CreateEntity(kClassPart, "scanned", UDMUID());
    try {
      part->AddFile(big.string(), true, false, "");
      part->Persist("", GDM_RECURSE_NONE, -1, false, true);
      outcome = 1;
    } catch (const UDMException& e) {
      if (e.GetExceptionCategory() != ExcCatFile || std::string(e.what()).find("scan.bin") == std::string::npos) {
        std::cerr << "not a clear error: " << e.what() << "\n";
        outcome = 2;
      }
    }
    ::setrlimit(RLIMIT_FSIZE, &limit);
    if (outcome == 0) {
      try {
        part->AddFile(big.string(), true, false, "");
        part->Persist("", GDM_RECURSE_NONE, -1, false, true);
      } catch (const UDMException&) {
        outcome = 3;
      }
    }
    ::_exit(outcome);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(FilesOf("scanned"), 1u);
  EXPECT_TRUE(Find("kept"));
  EXPECT_TRUE(Session().VerifyRepository(false).IsSound());
}

namespace {

// Runs `work` in a child process as a user whom file modes bind (root is not
// bound by them), owning the test's directory; the child's exit code is the
// work's. 0 means it went as expected.
int AsUnprivilegedOwner(const fs::path& dir, const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child < 0) return -1;
  if (child == 0) {
    if (::geteuid() == 0) {
      constexpr uid_t kNobody = 65534;
      for (const auto& entry : fs::recursive_directory_iterator(dir)) {
        if (::lchown(entry.path().c_str(), kNobody, kNobody) != 0) ::_exit(100);
      }
      if (::chown(dir.c_str(), kNobody, kNobody) != 0 || ::setegid(kNobody) != 0 || ::seteuid(kNobody) != 0) {
        ::_exit(101);
      }
    }
    int outcome = 102;
    try {
      outcome = work();
    } catch (const std::exception& e) {
      std::cerr << e.what() << "\n";
    }
    ::_exit(outcome);
  }
  int status = 0;
  if (::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

void SetWritable(const fs::path& dir, bool writable) {
  const fs::perm_options how = writable ? fs::perm_options::add : fs::perm_options::remove;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    fs::permissions(entry.path(), fs::perms::owner_write, how);
  }
  fs::permissions(dir, fs::perms::owner_write, how);
}

}  // namespace

// A repository whose files the user may no longer write (a permission change,
// a copy on read-only media): a session cannot open it, and an open session
// cannot take a file in, with nothing half-stored; once writable again the
// same session checks the file in.
TEST_P(EnvironmentFaultTest, AReadOnlyRepositoryRefusesClearlyAndTheSessionRecovers) {
  if (IsPostgres()) GTEST_SKIP() << "the server owns the repository's files";
  StoredPart("kept");
  const fs::path drawing = m_dir / "drawing.pdf";
  std::ofstream(drawing, std::ios::binary) << std::string(1 << 16, 'd');
  const fs::path repository = m_dir / "repo";
  const int outcome = AsUnprivilegedOwner(m_dir, [&] {
    // 1: another session opened it; 2: an unclear error; 3: stored while
    // read-only; 4: not stored once writable again.
    boost::shared_ptr<IUDMSession> session = OpenSession("carol");
    UDMItemPtr part = session->CreateEntity(kClassPart, "drawn", UDMUID());
    part->Persist("", GDM_RECURSE_NONE, -1, false, true);
    part->CheckOut("");
    SetWritable(repository, false);
    const auto [openSub, openMessage] = FailureOf([&] { OpenSession("dave"); });
    if (openSub == 0) return 1;
    if (openMessage.find("read-only") == std::string::npos) {
      std::cerr << "not a clear error: " << openMessage << "\n";
      return 2;
    }
    const auto [sub, message] = FailureOf([&] {
      part->AddFile(drawing.string(), true, false, "");
      part->Persist("", GDM_RECURSE_NONE, -1, false, true);
    });
    if (sub == 0) return 3;
    if (message.find("Permission denied") == std::string::npos) {
      std::cerr << "not a clear error: " << message << "\n";
      return 2;
    }
    SetWritable(repository, true);
    try {
      part->AddFile(drawing.string(), true, false, "");
      part->Persist("", GDM_RECURSE_NONE, -1, false, true);
    } catch (const UDMException& e) {
      std::cerr << e.what() << "\n";
      return 4;
    }
    return 0;
  });
  SetWritable(repository, true);
  EXPECT_EQ(outcome, 0);
  EXPECT_EQ(FilesOf("drawn"), 1u);
  EXPECT_TRUE(Find("kept"));
  EXPECT_TRUE(Session().VerifyRepository(false).IsSound());
}

TEST_P(EnvironmentFaultTest, ADatabaseLockedPastTheBusyTimeoutFailsClearlyUntilReleased) {
  if (IsPostgres()) GTEST_SKIP() << "the server queues writers; it has no busy timeout";
  UDMItemPtr part = StoredPart("bracket");
  std::shared_ptr<vqlm::iDbDriver> other =
      store::OpenRepositoryDatabase("sqlite", (m_dir / "repo" / "repository.db").string());
  part->CheckOut("");
  part->SetAttribute("description", vqVariant("while locked"));
  ASSERT_TRUE(other->ExecSqlStatement("BEGIN IMMEDIATE"));
  const auto [sub, message] = FailureOf([&] { part->Persist("", GDM_RECURSE_NONE, -1, false, true); });
  EXPECT_NE(sub, 0);
  EXPECT_NE(message.find("locked"), std::string::npos) << message;
  ASSERT_TRUE(other->ExecSqlStatement("ROLLBACK"));
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_EQ(Find("bracket")->GetAttributeValue("description").ToString(), "while locked");
}

UDM_ON_EVERY_BACKEND(EnvironmentFaultTest);
