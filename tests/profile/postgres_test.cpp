// The same profile over a PostgreSQL repository, reached through the
// configuration map's client settings.

#include "profile_fixture.h"

#include "pg_test_database.h"

using namespace vqkudm;

namespace {

// The configuration map of a repository in `database` on the test server.
vqStlMap<vqString, vqVariant> PostgresConfiguration(const PgTestDatabase& database) {
  vqStlMap<vqString, vqVariant> configuration;
  configuration["DataSource"] = "PostGres";
  configuration["RepositoryName"] = database.name();
  for (const auto& [key, value] : PostgresClientSettings(database.server())) configuration[key] = value;
  return configuration;
}

}  // namespace

TEST_F(ProfileTest, APostgresRepositoryIsReachedThroughTheConfigurationMap) {
  PgTestDatabase database;
  if (!database.ok()) GTEST_SKIP() << kNoPostgresServer;
  vqStlMap<vqString, vqVariant> configuration = PostgresConfiguration(database);
  configuration["WorkspaceBaseDir"] = m_dir.path().string();
  configuration["WorkspaceName"] = "ws";
  m_opened.push_back(UDMProfileMgr::GetProfile(configuration));
  boost::shared_ptr<IUDMProfile> writer = m_opened.back();

  UDMItemHandle project = writer->CreateEntity("UDMProject", "rover");
  writer->CreateAndAdd("UDMPart", "wheel", project, "parts");
  writer->Persist(project, "first", false, true, false);
  writer->Checkout(project, "second");
  writer->SetAttribute(project, "description", vqVariant("on the server"));
  writer->Persist(project, "second", false, false, false);

  m_opened.push_back(UDMProfileMgr::GetProfile(configuration));
  boost::shared_ptr<IUDMProfile> reader = m_opened.back();
  UDMItemHandle seen = reader->GetUDMItemHandle(project.GetUID());
  EXPECT_EQ(seen.GetAttributeValue("description").ToString(), "on the server");
  EXPECT_EQ(reader->GetNChildren(seen, "parts", ""), 1u);
  EXPECT_EQ(reader->GetHistory(seen)->GetVersionList().size(), 1u);
  // The sessions close before their database goes.
  UDMProfileMgr::DiscardProfile(reader);
  UDMProfileMgr::DiscardProfile(writer);
}

TEST_F(ProfileTest, APostgresRepositoryDeletedWithItsDataStartsEmpty) {
  PgTestDatabase database;
  if (!database.ok()) GTEST_SKIP() << kNoPostgresServer;
  vqStlMap<vqString, vqVariant> configuration = PostgresConfiguration(database);
  boost::shared_ptr<IUDMProfile> profile = UDMProfileMgr::GetProfile(configuration);
  UDMItemHandle part = profile->CreateEntity("UDMPart", "bolt");
  profile->Persist(part, "", false, false, false);
  UDMProfileMgr::DiscardProfile(profile);

  UDMProfileMgr::DeleteRepository(configuration, true, false);
  profile = UDMProfileMgr::GetProfile(configuration);
  vqStlVector<UDMItemHandle> found;
  profile->QueryEntities(found, "cdef = 'UDMPart'", UDMQuerySettingHandle(), false, false);
  EXPECT_TRUE(found.empty()) << "the tables went, the database stayed";
  UDMProfileMgr::DiscardProfile(profile);
}
