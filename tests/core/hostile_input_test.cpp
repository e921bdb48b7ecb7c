// Input built to do harm: packages that try to write outside their
// directory or fill the disk, and names, values and queries carrying SQL,
// quotes, NUL bytes, invalid UTF-8 or a megabyte of text. Each is refused
// with a UDMException naming the problem, or stored verbatim; nothing is
// executed, nothing is written outside where it belongs.

#include "session_fixture.h"

#include <archive.h>
#include <archive_entry.h>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMQuery.h>
#include <vqkudmrt/UDMSession.h>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

struct ArchiveEntry {
  ArchiveEntry(std::string name_, std::string data_, mode_t type_ = AE_IFREG, std::string link_ = "",
               std::int64_t declared_ = -1)
      : name(std::move(name_)), data(std::move(data_)), type(type_), link(std::move(link_)), declared(declared_) {}
  std::string name;
  std::string data;
  mode_t type;
  std::string link;       // for a symbolic or hard link
  std::int64_t declared;  // the size the header claims (zeros follow the data); -1: the data's
};

void WriteArchive(const fs::path& path, const std::vector<ArchiveEntry>& entries, bool gzip) {
  archive* a = archive_write_new();
  archive_write_set_format_pax_restricted(a);
  if (gzip) archive_write_add_filter_gzip(a);
  archive_write_open_filename(a, path.c_str());
  for (const ArchiveEntry& e : entries) {
    archive_entry* entry = archive_entry_new();
    archive_entry_set_pathname(entry, e.name.c_str());
    archive_entry_set_filetype(entry, e.type);
    archive_entry_set_perm(entry, 0644);
    if (e.type == AE_IFLNK) archive_entry_set_symlink(entry, e.link.c_str());
    if (e.type == AE_IFREG && !e.link.empty()) archive_entry_set_hardlink(entry, e.link.c_str());
    archive_entry_set_size(entry, e.declared >= 0 ? e.declared : static_cast<std::int64_t>(e.data.size()));
    archive_write_header(a, entry);
    archive_write_data(a, e.data.data(), e.data.size());
    archive_entry_free(entry);
  }
  archive_write_close(a);
  archive_write_free(a);
}

class HostileInputTest : public RepositoryTest {
 protected:
  std::pair<int, std::string> Import(const fs::path& package) {
    return FailureOf([&] {
      vqStlVector<UDMItemPtr> imported, unchanged;
      Session().GetImportCtrl()->Import(imported, unchanged, package.string(), false, false);
    });
  }
  std::size_t Stored() {
    vqStlVector<boost::shared_ptr<UDMItem>> roots;
    m_session->GetRootEntities(RootEntityItems, roots);
    return roots.size();
  }
  // A stored part, read back in a session of its own.
  UDMItemPtr RoundTrip(const std::string& name, const std::string& description) {
    UDMItemPtr part = m_session->CreateEntity(kClassPart, name, UDMUID());
    part->SetAttribute("description", vqVariant(description));
    part->Persist("", GDM_RECURSE_NONE, -1, false, true);
    return OpenSession("bob")->FindItemById(part->GetUID(), true, "");
  }
  std::size_t Matches(const std::string& query) {
    vqStlVector<boost::shared_ptr<UDMItem>> found;
    m_session->ExecuteQuery(m_session->CreateQuery(query, false, 0), 1, false, found);
    return found.size();
  }
};

}  // namespace

TEST_P(HostileInputTest, ArchivesThatReachOutsideOrFillTheDiskAreRefused) {
  const fs::path outside = m_dir / "outside";
  const std::vector<std::pair<std::string, std::vector<ArchiveEntry>>> cases = {
      {"outside", {{"../../" + outside.filename().string() + "/escaped.txt", "bad"}}},
      {"outside", {{(outside / "absolute.txt").string(), "bad"}}},
      {"not a file", {{"manifest.json", "", AE_IFLNK, "/etc/passwd"}}},
      {"not a file", {{"a.txt", "x"}, {"manifest.json", "", AE_IFREG, "a.txt"}}},
      {"twice", {{"manifest.json", "{}"}, {"manifest.json", "{\"version\": 1}"}}},
      // 96 MiB of zeros packed into a few hundred kilobytes: built to fill the disk.
      {"expand", {{"manifest.json", "{}", AE_IFREG, "", 96ll << 20}}},
  };
  for (const auto& [why, entries] : cases) {
    SCOPED_TRACE(why + " " + entries.back().name);
    const fs::path package = m_dir / "evil.tar.gz";
    WriteArchive(package, entries, true);
    const auto [sub, message] = Import(package);
    EXPECT_EQ(sub, ExcSubWrongType) << message;
    EXPECT_NE(message.find(why), std::string::npos) << message;
    EXPECT_FALSE(fs::exists(outside));
  }
  // A header claiming more than the data that follows.
  const fs::path truncated = m_dir / "truncated.tar";
  WriteArchive(truncated, {{"manifest.json", "{}", AE_IFREG, "", 1 << 20}}, false);
  fs::resize_file(truncated, 4096);
  EXPECT_NE(Import(truncated).first, 0);
  EXPECT_EQ(Stored(), 0u);
}

TEST_P(HostileInputTest, NamesAndValuesAreStoredVerbatimNeverExecuted) {
  const std::string megabyte = std::string(1 << 20, 'x') + "end";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"o'brien -- DROP TABLE udm_entity", "'); DELETE FROM udm_revision; --"},
      {"x' OR '1'='1", "x' OR '1'='1\"; DROP TABLE udm_attribute; --"},
      {"accents é ü 部品", "line\nbreak\ttab"},
      {"long", megabyte},
  };
  for (const auto& [name, value] : cases) {
    SCOPED_TRACE(name);
    UDMItemPtr read = RoundTrip(name, value);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->GetName().str(), name);
    EXPECT_EQ(read->GetAttributeValue("description").ToString().str(), value);
  }
  // Refused alike on every database, before anything is stored.
  const std::vector<std::tuple<std::string, std::string, std::string>> refused = {
      {"bolt; DROP TABLE udm_entity", "", "reserved characters"},
      {"\"quoted\"", "", "reserved characters"},
      {"a/../b", "", "reserved characters"},
      {"invalid utf-8 \xff\xfe", "", "not valid UTF-8"},
      {"nul", std::string("nul\0inside", 10), "NUL byte"},
      {"latin-1", "caf\xe9", "not valid UTF-8"},
  };
  for (const auto& [name, value, why] : refused) {
    const auto [sub, message] = FailureOf([&] { RoundTrip(name, value); });
    EXPECT_EQ(sub, ExcSubWrongType) << name;
    EXPECT_NE(message.find(why), std::string::npos) << name << ": " << message;
  }
  EXPECT_EQ(Stored(), cases.size()) << "every table is still there";
  EXPECT_EQ(Session().VerifyRepository(false).findings.size(), 0u);
}

TEST_P(HostileInputTest, QueriesBuiltToInjectSqlFindOnlyWhatTheySay) {
  RoundTrip("bolt", "plain");
  RoundTrip("nut", "plain");
  EXPECT_EQ(Matches("name = 'bolt'' OR ''1''=''1'"), 0u);
  EXPECT_EQ(Matches("description = 'x'' OR 1=1 --'"), 0u);
  for (const std::string query : {"name = 'bolt' OR 1=1 --", "name = 'bolt'; DROP TABLE udm_entity; --",
                                  "name = 'bolt' UNION SELECT * FROM udm_entity"}) {
    SCOPED_TRACE(query);
    const auto [sub, message] = FailureOf([&] { Matches(query); });
    EXPECT_NE(sub, 0) << "refused, not run";
  }
  EXPECT_EQ(Matches("cdef = 'UDMPart'"), 2u);
  EXPECT_EQ(Stored(), 2u);
}

UDM_ON_EVERY_BACKEND(HostileInputTest);
