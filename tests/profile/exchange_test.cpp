#include "profile_fixture.h"

#include <sys/stat.h>

#include <filesystem>

using namespace vqkudm;

TEST_F(ProfileTest, AnExportGoesIntoANewDirectoryChainAndImportsIntoAnotherRepository) {
  UDMItemHandle project = m_profile->CreateEntity("UDMProject", "rover");
  m_profile->CreateAndAdd("UDMPart", "wheel", project, "parts");
  m_profile->Persist(project, "", false, true, false);
  const auto package = m_dir.path() / "a" / "b" / "rover.zip";
  m_profile->Export(package.string(), {"UDMProject"}, ExportZip);
  ASSERT_TRUE(std::filesystem::is_regular_file(package));

  boost::shared_ptr<IUDMProfile> copy = OpenProfile("copy");
  copy->Import(package.string());
  vqStlVector<UDMItemHandle> found;
  copy->QueryEntities(found, "cdef isa 'UDMItem'", UDMQuerySettingHandle(), false, false);
  EXPECT_EQ(found.size(), 2u) << "the project and the part it holds";
}

TEST_F(ProfileTest, AnExportReplacesAReadOnlyPackage) {
  StoredPart("bolt");
  const std::string package = WriteFile("parts.zip", "old");
  ::chmod(package.c_str(), 0444);
  m_profile->Export(package, {"UDMPart"}, ExportZip);
  EXPECT_GT(std::filesystem::file_size(package), 3u);
  EXPECT_NE(std::filesystem::status(package).permissions() & std::filesystem::perms::owner_write,
            std::filesystem::perms::none);
}

TEST_F(ProfileTest, ExchangePathsMustBeGiven) {
  EXPECT_TRUE(EndsWith(RaisedBy([&] { m_profile->Export("", {}, ExportZip); }).what(),
                       ": Export File Path empty is Empty."));
  const UDMException e = RaisedBy([&] { m_profile->Import(""); });
  EXPECT_TRUE(EndsWith(e.what(), ": Import File Path empty is Empty."));
  EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubEmpty);
}
