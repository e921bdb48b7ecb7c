// The names are a contract with stored data: these are the values that a
// careless edit (an escape, a case change, a trimmed suffix) would break.
#include <vqkudm/UDMNames.h>
#include <vqkudm/UDMPartNames.h>

#include <gtest/gtest.h>

#include <string>

using namespace vqkudm;

TEST(Vocabulary, ReservedCharactersAreTheFifteenInOrder) {
  EXPECT_EQ(kReservedCharacters.size(), 15u);
  const std::string expected = {'[', ']', '/', '\\', '&', '~', '?', '*',
                                '|', '<', '>', '"',  ';', ':', '+'};
  EXPECT_EQ(kReservedCharacters, expected);
}

TEST(Vocabulary, LookalikeNamesStayDistinct) {
  EXPECT_EQ(kModuleModel, "Module Model");
  EXPECT_EQ(kModuleModel.size(), 12u);
  EXPECT_EQ(kModuleModelP, "Module Model.p");
  EXPECT_EQ(kModuleModelP.size(), 14u);
  EXPECT_EQ(kClassRepresentationmaterial, "UDMRepresentationmaterial");
  EXPECT_EQ(kClassRepMaterial, "UDMRepMaterial");
  EXPECT_EQ(kClassRepresentationPart, "UDMRepresentationPart");
  EXPECT_EQ(kNotRetrieved, "(Not retrieved)");
  EXPECT_EQ(kEmptyString, "");
}

TEST(Vocabulary, LogLevelsAreSixInSeverityOrder) {
  ASSERT_EQ(sizeof(kLogMessageLevels) / sizeof(kLogMessageLevels[0]), 6u);
  EXPECT_EQ(kLogMessageLevels[kLogLevelPerformance], "LM_MSG_PERFORMANCE");
  EXPECT_EQ(kLogMessageLevels[kLogLevelDebug], "LM_MSG_DEBUG");
  EXPECT_EQ(kLogMessageLevels[kLogLevelWarning], "LM_MSG_WARNING");
  EXPECT_EQ(kLogMessageLevels[kLogLevelFatal], "LM_MSG_FATAL");
  EXPECT_EQ(kLogLevelFatal, 5);
}

TEST(Vocabulary, EnvironmentVariablesKeepTheirDifferingPrefixes) {
  EXPECT_EQ(kEnvNorlevHome, "NORLEV_HOME");
  EXPECT_EQ(kEnvVqkRootDir, "NORVEL_VQK_VQ_ROOTDIR");
  EXPECT_EQ(kEnvUdmrtDbDir, "NORVEL_VQK_UDMRT_DB_DIR");
  EXPECT_EQ(kEnvLibMgrPath, "NORVEL_LIB_MGR_PATH");
  EXPECT_EQ(kEnvVqRootDir, "VQ_ROOTDIR");
  EXPECT_EQ(kEnvUdmrtHome, "UDMRT_HOME");
  EXPECT_EQ(kEnvUdmrtLogDir, "UDMRT_LOGDIR");
}

TEST(Vocabulary, RelationEndAttributesMirrorEachOther) {
  const std::pair<const vqString*, const vqString*> pairs[] = {
      {&kSmdFirst, &kSmdSecond},           {&kSmdFirsttype, &kSmdSecondtype},
      {&kSmdFirstfrom, &kSmdSecondfrom},   {&kSmdFirstto, &kSmdSecondto},
      {&kSmdFirstcurrev, &kSmdSecondcurrev}};
  for (const auto& [first, second] : pairs) {
    ASSERT_TRUE(first->StartsWith("smd_first")) << *first;
    EXPECT_EQ("smd_second" + first->substr(9), *second);
  }
}

TEST(Vocabulary, NamesTheRuntimeLooksUpByRole) {
  EXPECT_EQ(kMetaMaxFileNr, "udm_maxFileNr");
  EXPECT_EQ(kMetaMinFileNr, "udm_minFileNr");
  EXPECT_EQ(kMetaCanBranch, "udm_CanBranch");
  EXPECT_EQ(kMetaIsMultipleParentsAllowed, "udm_isMultipleParentsAllowed");
  EXPECT_EQ(kMetaBranchOnEntityEdit, "udm_BranchOnEntityEdit");
  EXPECT_EQ(kSysCdefGenericDocument, "SMD_GenericDocument");
  EXPECT_EQ(kSmdWscontentrevision, "smd_wscontentrevision");
  EXPECT_EQ(kGroupCategories, kFolderKindCategories);
  EXPECT_NE(&kGroupCategories, &kFolderKindCategories);
  EXPECT_EQ(kGroupFiles, "files");
  EXPECT_EQ(kGroupRepresentations, "representations");
  EXPECT_EQ(kRecordSmdChildPrefix, "smdchild_");
  EXPECT_EQ(kRelGeneral, "UDMRelGeneral");
  EXPECT_EQ(kClassDataSourceFile, "UDMDataSourceFile");
  EXPECT_EQ(kTypeReference, "reference");
  EXPECT_EQ(kTypeStringList, "StringList");
  EXPECT_EQ(kRepoKeyUname, "uname");
  EXPECT_EQ(kRepoKeyVersion, kWorkspaceKeyVersion);
}
