// Opening a PLM XML document of 10,000 occurrences over 2,000 parts as a
// connection: the first open (read, package, import) and an open of the same
// unchanged document, each against pugixml parsing the document alone.

#include <benchmark/benchmark.h>

#include <pugixml.hpp>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <vqkudm/UDMDataConnectionMgr.h>
#include <vqkudm/UDMProfileMgr.h>

#include "ratio_reporter.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

const int kAssemblies = 100;
const int kUsesPerAssembly = 99;
const int kLeaves = 1900;

// A root using 100 assemblies, each using 99 of 1,900 leaf parts, so
// that most leaves are used by several assemblies.
std::string Document() {
  std::ostringstream xml;
  xml << "<PLMXML xmlns=\"http://www.plmxml.org/Schemas/PLMXMLSchema\" schemaVersion=\"6\">\n";
  auto product = [&](const std::string& id, const std::string& name) {
    xml << "<Product id=\"p" << id << "\" productId=\"" << id << "\" name=\"" << name << "\"/>\n"
        << "<ProductRevision id=\"r" << id << "\" masterRef=\"#p" << id << "\" revision=\"A\" name=\"" << name
        << "\"><UserData><UserValue title=\"Material\" value=\"steel\"/></UserData></ProductRevision>\n";
  };
  product("ROOT", "root");
  for (int a = 0; a < kAssemblies; ++a) product("A" + std::to_string(a), "assembly " + std::to_string(a));
  for (int l = 0; l < kLeaves; ++l) product("L" + std::to_string(l), "leaf " + std::to_string(l));
  xml << "<ProductView id=\"v\" rootRefs=\"o\">\n<Occurrence id=\"o\" instancedRef=\"#rROOT\"/>\n";
  int occurrence = 0;
  for (int a = 0; a < kAssemblies; ++a) {
    const std::string parent = "oa" + std::to_string(a);
    xml << "<Occurrence id=\"" << parent << "\" instancedRef=\"#rA" << a << "\" parentRef=\"#o\"/>\n";
    for (int u = 0; u < kUsesPerAssembly; ++u) {
      xml << "<Occurrence id=\"o" << occurrence++ << "\" instancedRef=\"#rL" << (a * 37 + u * 19) % kLeaves
          << "\" parentRef=\"#" << parent << "\"><Transform>1 0 0 0 0 1 0 0 0 0 1 0 " << u << " 0 0 1</Transform>"
          << "</Occurrence>\n";
    }
  }
  xml << "</ProductView>\n</PLMXML>\n";
  return xml.str();
}

class Fixture {
 public:
  Fixture() : m_dir(fs::temp_directory_path() / ("udm-plmxml-bench-" + std::to_string(::getpid()))) {
    fs::remove_all(m_dir);
    fs::create_directories(m_dir);
    ::setenv("NORVEL_VQK_UDMRT_DB_DIR", m_dir.c_str(), 1);
    m_text = Document();
    std::ofstream(File()) << m_text;
  }
  ~Fixture() { fs::remove_all(m_dir); }

  std::string File() const { return (m_dir / "assembly.plmxml").string(); }
  const std::string& Text() const { return m_text; }

  void Open(const std::string& identifier) {
    boost::shared_ptr<IUDMProfile> profile = UDMProfileMgr::GetProfile(
        {{"DataSource", vqVariant("UDMXML")},
         {"FileDataSource", vqVariant(File())},
         {"ConnectionIdentifier", vqVariant(identifier)}});
    UDMProfileMgr::DiscardProfile(profile);
  }

 private:
  fs::path m_dir;
  std::string m_text;
};

Fixture& Shared() {
  static Fixture fixture;
  return fixture;
}

void BM_Open_runtime(benchmark::State& state) {
  int run = 0;
  for (auto _ : state) Shared().Open("first-" + std::to_string(run++));
}

void BM_Reopen_runtime(benchmark::State& state) {
  Shared().Open("again");
  for (auto _ : state) Shared().Open("again");
}

void BM_Parse_baseline(benchmark::State& state) {
  for (auto _ : state) {
    pugi::xml_document document;
    benchmark::DoNotOptimize(document.load_buffer(Shared().Text().data(), Shared().Text().size()));
  }
}

}  // namespace

BENCHMARK(BM_Open_runtime)->Name("Open10000Occurrences/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Parse_baseline)->Name("Open10000Occurrences/baseline")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Reopen_runtime)->Name("ReopenUnchanged/runtime")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Parse_baseline)->Name("ReopenUnchanged/baseline")->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) { return RunBenchmarksWithRatios(argc, argv); }
