// The writer the crash rounds kill: it works on the repository until it is
// killed, and tells its parent on stdout what it starts and what returned:
//
//   begin OP KIND [PLAN]      before an operation (a batch: how many parts)
//   done OP KIND [DETAIL...]  once it returned
//   fail OP KIND MESSAGE      when it raised (a connection the server dropped)
//
// Usage: crash_writer sqlite|postgres LOCATION SERVER SEED FIRST_OP PACKAGE BIG_FILE

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <vqkudm/UDMCdefMetaData.h>
#include <vqkudm/UDMProfileExtensions.h>
#include <vqkudm/UDMProfileMgr.h>
#include <vqkudmrt/UDMException.h>

#include "crash_repository.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

void Tell(const std::string& line) {
  std::fputs((line + "\n").c_str(), stdout);
  std::fflush(stdout);
}

class Writer {
 public:
  Writer(boost::shared_ptr<IUDMProfile> profile, unsigned seed, int firstOp, std::string package, std::string bigFile,
         fs::path scratch)
      : m_profile(std::move(profile)), m_random(seed), m_op(firstOp), m_package(std::move(package)),
        m_bigFile(std::move(bigFile)), m_scratch(std::move(scratch)) {}

  void Run() {
    for (;;) {
      const int op = m_op++;
      switch (m_random() % 7) {
        case 0:
        case 1: {
          const int count = 2 + static_cast<int>(m_random() % 40);
          Step(op, "batch", [&] { return Batch(op, count); }, std::to_string(count));
          break;
        }
        case 2: Step(op, "file", [&] { return File(op); }); break;
        case 3: Unlink(op); break;
        case 4: Step(op, "import", [&] { return Import(); }); break;
        case 5: Step(op, "schema", [&] { return Schema(op); }); break;
        default: Obliterate(op); break;
      }
    }
  }

 private:
  // `plan` tells the parent what the operation will make, before it starts.
  template <class Work>
  void Step(int op, const char* kind, Work&& work, const std::string& plan = "") {
    const std::string head = std::to_string(op) + " " + kind;
    Tell("begin " + head + (plan.empty() ? "" : " " + plan));
    std::string detail;
    try {
      detail = work();
    } catch (const UDMException& e) {
      Tell("fail " + head + " " + e.what());
      return;
    }
    Tell("done " + head + (detail.empty() ? "" : " " + detail));
  }

  // A project with `count` parts, each with an attribute, in one check-in.
  std::string Batch(int op, int count) {
    UDMItemHandle project = m_profile->CreateEntity("UDMProject", BatchName(op));
    for (int i = 0; i < count; ++i) {
      UDMItemHandle part = m_profile->CreateAndAdd("UDMPart", ChildName(op, i), project, "parts");
      m_profile->SetAttribute(part, "partnumber", vqVariant("PN-" + std::to_string(op) + "-" + std::to_string(i)));
    }
    m_profile->Persist(project, "batch", false, true, false);
    return std::to_string(count);
  }

  // A part with a small file of its own, and now and then the big one.
  std::string File(int op) {
    const fs::path small = m_scratch / ("small-" + std::to_string(op) + ".txt");
    std::ofstream(small) << "contents of operation " << op << " " << m_random() << "\n";
    UDMItemHandle part = m_profile->CreateEntity("UDMPart", BatchName(op));
    m_profile->AddFile(part, small.string());
    if (m_random() % 8 == 0) m_profile->AddFile(part, m_bigFile);
    m_profile->Persist(part, "file", false, false, false);
    fs::remove(small);
    return "";
  }

  // A stored project of six parts; then a check-in that drops four uses.
  void Unlink(int op) {
    Step(op, "batch", [&] { return Batch(op, 6); }, "6");
    vqStlVector<UDMItemHandle> found;
    m_profile->QueryEntities(found, "name = '" + BatchName(op) + "'", UDMQuerySettingHandle(), false, false);
    if (found.empty()) return;  // the batch failed
    UDMItemHandle project = found[0];
    Step(op, "unlink", [&] {
      m_profile->Checkout(project, "unlink");
      vqStlVector<UDMItemHandle> children;
      m_profile->GetChildren(children, project, "parts", "");
      for (std::size_t i = 0; i < 4 && i < children.size(); ++i) m_profile->RemoveChildFromParent(project, children[i]);
      m_profile->Persist(project, "unlink", false, false, false);
      return std::string("2");
    });
  }

  std::string Import() { return std::to_string(UDMProfileExtensions::ImportPackage(m_profile, m_package, {})); }

  std::string Schema(int op) {
    vqStlVector<UDMCdefMetaData> metadata = {
        UDMCdefMetaData("crash_" + std::to_string(op), "crash", "", "", "string", "", true, false, true, {})};
    m_profile->ModifyUpdateContentDefinition("UDMDocument", metadata, nullptr);
    return "";
  }

  // A stored project of three parts, then obliterated with them.
  void Obliterate(int op) {
    Step(op, "batch", [&] { return Batch(op, 3); }, "3");
    vqStlVector<UDMItemHandle> found;
    m_profile->QueryEntities(found, "name = '" + BatchName(op) + "'", UDMQuerySettingHandle(), false, false);
    if (found.empty()) return;
    Step(op, "obliterate", [&] {
      m_profile->Obliterate(found[0], true);
      return std::string();
    });
  }

  boost::shared_ptr<IUDMProfile> m_profile;
  std::mt19937 m_random;
  int m_op;
  std::string m_package;
  std::string m_bigFile;
  fs::path m_scratch;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 8) {
    std::fputs("usage: crash_writer sqlite|postgres LOCATION SERVER SEED FIRST_OP PACKAGE BIG_FILE\n", stderr);
    return 2;
  }
  const CrashTarget target{argv[1], argv[2], argv[3]};
  const fs::path scratch = fs::temp_directory_path() / ("crash-writer-" + std::to_string(::getpid()));
  fs::create_directories(scratch);
  try {
    boost::shared_ptr<IUDMProfile> profile = OpenCrashRepository(target, scratch.string());
    // What a killed writer left checked out is taken up and dropped.
    vqStlVector<UDMResumedWork> left;
    UDMProfileExtensions::ResumeSavedWork(profile, left);
    for (const UDMResumedWork& work : left) profile->UndoCheckout(work.item);
    Tell("ready");
    Writer(profile, static_cast<unsigned>(std::strtoul(argv[4], nullptr, 10)), std::atoi(argv[5]), argv[6], argv[7],
           scratch)
        .Run();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "crash_writer: %s\n", e.what());
    return 1;
  }
}
