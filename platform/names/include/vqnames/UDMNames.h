#pragma once

// The fixed names of the data model: system attributes, content-definition
// classes, relation types, meta flags, record keys, environment variables and
// a few texts. They are shared with stored data, with the core runtime and
// with clients, so their values never change. Some texts are declared under
// more than one name because callers use them in different roles.
//
// Each is a namespace-level constant: every translation unit that includes
// this header holds its own copy, equal in value and never modified.

#include <vqutl/vqString.h>

namespace vqkudm {

const vqString kClientParseFiles = "ClientParseFiles";

// Environment variables that locate the runtime (the rest follow the child groups).
const vqString kEnvNorlevHome = "NORLEV_HOME";
const vqString kEnvVqkRootDir = "NORVEL_VQK_VQ_ROOTDIR";
const vqString kEnvUdmrtDbDir = "NORVEL_VQK_UDMRT_DB_DIR";
const vqString kEnvUdmrtLibDir = "NORVEL_VQK_UDMRT_LIB_DIR";
const vqString kEnvUdmrtWorkspace = "NORVEL_VQK_UDMRT_WORKSPACE";
const vqString kEnvLibMgrPath = "NORVEL_LIB_MGR_PATH";

// Log message level names, indexed by UDMLogMessageLevel.
enum UDMLogMessageLevel {
  kLogLevelPerformance = 0,
  kLogLevelDebug = 1,
  kLogLevelInfo = 2,
  kLogLevelWarning = 3,
  kLogLevelError = 4,
  kLogLevelFatal = 5,
};
const vqString kLogMessageLevels[6] = {
    "LM_MSG_PERFORMANCE",
    "LM_MSG_DEBUG",
    "LM_MSG_INFO",
    "LM_MSG_WARNING",
    "LM_MSG_ERROR",
    "LM_MSG_FATAL",
};

// System attributes maintained by the runtime on entities (smd_ prefix), and the
// names of three system content definitions (SMD_ prefix).
const vqString kSmdAddnlattr = "smd_addnlattr";
const vqString kSmdBranch = "smd_branch";
const vqString kSmdBranchedtime = "smd_branchedtime";
const vqString kSmdBranchfrom = "smd_branchfrom";
const vqString kSmdBranchfromver = "smd_branchfromver";
const vqString kSmdBranchpath = "smd_branchpath";
const vqString kSmdCategory = "smd_category";
const vqString kSmdCattype = "smd_cattype";
const vqString kSmdChildren = "smd_children";
const vqString kSmdCid = "smd_cid";
const vqString kSmdCntcreatime = "smd_cntcreatime";
const vqString kSmdComment = "smd_comment";
const vqString kSmdContentrevision = "smd_contentrevision";
const vqString kSmdCreateduser = "smd_createduser";
const vqString kSmdCreatime = "smd_creatime";
const vqString kSmdCtime = "smd_ctime";
const vqString kSmdCtype = "smd_ctype";
const vqString kSmdCtypedn = "smd_ctypedn";
const vqString kSmdDbversion = "smd_dbversion";
const vqString kSmdDefaultpi = "smd_defaultpi";
const vqString kSmdDeleted = "smd_deleted";
const vqString kSmdExternalfile = "smd_externalfile";
const vqString kSysCdefFile = "SMD_File";
const vqString kSmdFilehash = "smd_filehash";
const vqString kSmdFileid = "smd_fileid";
const vqString kSmdFilelastmodified = "smd_filelastmodified";
const vqString kSmdFileversion = "smd_fileversion";
const vqString kSmdFirst = "smd_first";
const vqString kSmdFirstcurrev = "smd_firstcurrev";
const vqString kSmdFirstfrom = "smd_firstfrom";
const vqString kSmdFirstto = "smd_firstto";
const vqString kSmdFirsttype = "smd_firsttype";
const vqString kSmdFolder = "smd_folder";
const vqString kSmdFullname = "smd_fullname";
const vqString kSmdGdoctype = "smd_gdoctype";
const vqString kSysCdefGenericDocument = "SMD_GenericDocument";
const vqString kSmdHistoryres = "smd_historyres";
const vqString kSmdId = "smd_id";
const vqString kSmdImplicit = "smd_implicit";
const vqString kSmdIntegrationpt = "smd_integrationpt";
const vqString kSysCdefLabel = "SMD_Label";
const vqString kSmdLibid = "smd_libid";
const vqString kSmdLstmodtime = "smd_lstmodtime";
const vqString kSmdName = "smd_name";
const vqString kSmdOwnerlocked = "smd_ownerlocked";
const vqString kSmdParentid = "smd_parentid";
const vqString kSmdParsecontent = "smd_parsecontent";
const vqString kSmdParsedata = "smd_parsedata";
const vqString kSmdParsedocinfo = "smd_parsedocinfo";
const vqString kSmdParsefile = "smd_parsefile";
const vqString kSmdParsefilename = "smd_parsefilename";
const vqString kSmdParsepfinfo = "smd_parsepfinfo";
const vqString kSmdParsestatus = "smd_parsestatus";
const vqString kSmdPath = "smd_path";
const vqString kSmdPreviewname = "smd_previewname";
const vqString kSmdRefcount = "smd_refcount";
const vqString kSmdReference = "smd_reference";
const vqString kSmdRelationtype = "smd_relationtype";
const vqString kSmdSecond = "smd_second";
const vqString kSmdSecondcurrev = "smd_secondcurrev";
const vqString kSmdSecondfrom = "smd_secondfrom";
const vqString kSmdSecondto = "smd_secondto";
const vqString kSmdSecondtype = "smd_secondtype";
const vqString kSmdSize = "smd_size";
const vqString kSmdSystem = "smd_system";
const vqString kSmdSystempi = "smd_systempi";
const vqString kSmdText = "smd_text";
const vqString kSmdType = "smd_type";
const vqString kSmdUser = "smd_user";
const vqString kSmdVaultroot = "smd_vaultroot";
const vqString kSmdVaultrootdir = "smd_vaultrootdir";
const vqString kSmdWscontentrevision = "smd_wscontentrevision";

// Content-definition class names.
const vqString kClassBOA = "UDMBOA";
const vqString kClassBOM = "UDMBOM";
const vqString kClassClassification = "UDMClassification";
const vqString kClassCoordinateSystem = "UDMCoordinateSystem";
const vqString kClassDataSourceFile = "UDMDataSourceFile";
const vqString kClassDefaultEntityFactory = "UDMDefaultEntityFactory";
const vqString kClassEntityDepot = "UDMEntityDepot";
const vqString kClassEntitySet = "UDMEntitySet";
const vqString kClassEntitySetChoice = "UDMEntitySetChoice";
const vqString kClassItem = "UDMItem";
const vqString kClassKPI = "UDMKPI";
const vqString kClassLMFoldertype = "UDMLMFoldertype";
const vqString kClassProject = "UDMProject";
const vqString kClassPart = "UDMPart";
const vqString kClassRelation = "UDMRelation";
const vqString kClassSimulation = "UDMSimulation";
const vqString kClassHierarchy = "UDMHierarchy";
const vqString kClassAndCond = "UDMAndCond";
const vqString kClassBOMConfigured = "UDMBOMConfigured";
const vqString kClassBOMSuper = "UDMBOMSuper";
const vqString kClassConfig = "UDMConfig";
const vqString kClassDSFileCAD = "UDMDSFileCAD";
const vqString kClassDSFileConn = "UDMDSFileConn";
const vqString kClassDSFileMesh = "UDMDSFileMesh";
const vqString kClassItemSet = "UDMItemSet";
const vqString kClassPartProto = "UDMPartProto";
const vqString kClassPartProtoInst = "UDMPartProtoInst";
const vqString kClassPartProtoOcc = "UDMPartProtoOcc";
const vqString kClassRepConn = "UDMRepConn";
const vqString kClassRepPartCad = "UDMRepPartCad";
const vqString kClassRepPartMesh = "UDMRepPartMesh";
const vqString kClassSubsystemInstance = "UDMSubsystemInstance";
const vqString kClassSubsystem = "UDMSubsystem";
const vqString kClassSubsystemPrototype = "UDMSubsystemPrototype";
const vqString kClassUkey = "UDMUkey";
const vqString kClassAssemblyDM = "UDMAssemblyDM";
const vqString kClassKPT = "UDMKPT";
const vqString kClassRepresentation = "UDMRepresentation";
const vqString kClassRepresentationConn = "UDMRepresentationConn";
const vqString kClassRepresentationPart = "UDMRepresentationPart";
const vqString kClassClassNameCond = "UDMClassNameCond";
const vqString kClassContentDefCond = "UDMContentDefCond";
const vqString kClassProxy = "UDMProxy";

// The classes that part, entity-set and KPI definitions derive from
// (values of udm_BaseClassName).
const vqString kBaseClassPart = "UDMPart";
const vqString kBaseClassEntitySet = "UDMEntitySet";
const vqString kBaseClassKPI = "UDMKPI";

// Relation type names; the general relation class is kClassRelation.
const vqString kRelProtoToProto = "UDMRelProtoToProto";
const vqString kRelFileDownloadTracker = "UDMRelFileDownloadTracker";
const vqString kRelCurrentRep = "UDMRelCurrentRep";
const vqString kRelElevation = "UDMRelElevation";
const vqString kRelGeneral = "UDMRelGeneral";
const vqString kRelKpiAggr = "UDMRelKpiAggr";
const vqString kRelKptKpi = "UDMRelKptKpi";
const vqString kRelTraceability = "UDMRelTraceability";

// Keys of entity properties, query fields and interchange records.
const vqString kKeyRegexpfallbackchar = "regexpfallbackchar";
const vqString kKeyAllowderivedcontent = "allowderivedcontent";
const vqString kKeyIselevated = "iselevated";
const vqString kKeyIshead = "ishead";
const vqString kKeyValidcontenttype = "validcontenttype";
const vqString kKeyBaseukey = "baseukey";
const vqString kKeyBranchnamelist = "branchnamelist";
const vqString kKeyContentdefinitiontype = "contentdefinitiontype";
const vqString kKeyCreatedby = "createdby";
const vqString kKeyCreationdate = "creationdate";
const vqString kKeyDestinfo = "destinfo";
const vqString kKeyDisplayname = "displayname";
const vqString kKeyDmfilepath = "dmfilepath";
const vqString kKeyExcludeinsearch = "excludeinsearch";
const vqString kKeyExternaldescription = "externaldescription";
const vqString kKeyExternalid = "externalid";
const vqString kKeyExternalsystem = "externalsystem";
const vqString kKeyExternaltype = "externaltype";
const vqString kKeyFiletype = "filetype";
const vqString kKeyFilename = "filename";
const vqString kKeyFuturecount = "futurecount";
const vqString kKeyId = "id";
const vqString kKeyIsinrelation = "isinrelation";
const vqString kKeyIsprototype = "isprototype";
const vqString kKeyIsrootentity = "isrootentity";
const vqString kKeyModificationdate = "modificationdate";
const vqString kKeyModifiedby = "modifiedby";
const vqString kKeyModifiedsinceimport = "modifiedsinceimport";
const vqString kKeyOccurrenceList = "occurrenceList";
const vqString kKeyParenturl = "parenturl";
const vqString kKeyPlmxmlexternalid = "plmxmlexternalid";
const vqString kKeyPlmxmloccrevision = "plmxmloccrevision";
const vqString kKeyPlmxmlproductrevname = "plmxmlproductrevname";
const vqString kKeyPlmxmlproductrevnamecad = "plmxmlproductrevnamecad";
const vqString kKeyPlmxmlproductrevsubtype = "plmxmlproductrevsubtype";
const vqString kKeyProtoinstanceref = "protoinstanceref";
const vqString kKeyProtoref = "protoref";
const vqString kKeyProxycdef = "proxycdef";
const vqString kKeyProxycreatedfromlive = "proxycreatedfromlive";
const vqString kKeyProxysrcuid = "proxysrcuid";
const vqString kKeyProxyuid = "proxyuid";
const vqString kKeyProxyurl = "proxyurl";
const vqString kKeyReltracer = "reltracer";
const vqString kKeyRootentityurl = "rootentityurl";
const vqString kKeySequenceid = "sequenceid";
const vqString kKeySrcfilepath = "srcfilepath";
const vqString kKeySrcinfo = "srcinfo";
const vqString kKeyTrfmtx = "trfmtx";
const vqString kKeyTrfmtxisrel = "trfmtxisrel";
const vqString kKeyUrllist = "urllist";
const vqString kKeyUrlpath = "urlpath";
const vqString kKeyVersionstr = "versionstr";

// File-number limits of a content definition, kept as its metadata.
const vqString kMetaMaxFileNr = "udm_maxFileNr";
const vqString kMetaMinFileNr = "udm_minFileNr";
const vqString kKeyName = "name";

// Content-definition meta flags.
const vqString kMetaBaseClassName = "udm_BaseClassName";
const vqString kMetaCanBranch = "udm_CanBranch";
const vqString kMetaIsAbstract = "udm_isAbstract";
const vqString kMetaIsAllowedDuplicateName = "udm_isAllowedDuplicateName";
const vqString kMetaIsAssoc = "udm_isAssoc";
const vqString kMetaIsBlocked = "udm_isBlocked";
const vqString kMetaIsComposition = "udm_isComposition";
const vqString kMetaIsInternal = "udm_isInternal";
const vqString kMetaIsMultipleParentsAllowed = "udm_isMultipleParentsAllowed";
const vqString kMetaIsNonDisplayable = "udm_isNonDisplayable";
const vqString kMetaIsProto = "udm_isProto";
const vqString kMetaIsProtoInstance = "udm_isProtoInstance";
const vqString kMetaIsProtoOcc = "udm_isProtoOcc";
const vqString kMetaIsReference = "udm_isReference";
const vqString kMetaOccurrence = "udm_Occurrence";
const vqString kMetaProto = "udm_Proto";
const vqString kMetaProtoInstance = "udm_ProtoInstance";
const vqString kMetaRelNoPersist = "udm_RelNoPersist";
const vqString kMetaBranchOnEntityEdit = "udm_BranchOnEntityEdit";

// Keys of an entity's file, image and child records.
const vqString kRecordAddnlattr = "addnlattr";
const vqString kRecordAddnlinfo = "addnlinfo";
const vqString kRecordCliattrbs = "cliattrbs";
const vqString kRecordChildid = "childid";
const vqString kRecordChildindex = "childindex";
const vqString kRecordChildreltype = "childreltype";
const vqString kRecordChildver = "childver";
const vqString kRecordContenttype = "contenttype";
const vqString kRecordCopytows = "copytows";
const vqString kRecordCurrentrevision = "currentrevision";
const vqString kRecordDocpath = "docpath";
const vqString kRecordExternal = "external";
const vqString kRecordField = "field";
const vqString kRecordFolder = "folder";
const vqString kRecordFromrevision = "fromrevision";
const vqString kRecordImagename = "imagename";
const vqString kRecordImagepath = "imagepath";
const vqString kRecordImagetype = "imagetype";
const vqString kRecordIsdefpi = "isdefpi";
const vqString kRecordIstext = "istext";
const vqString kRecordLastupdatetime = "lastupdatetime";
const vqString kRecordParentcurver = "parentcurver";
const vqString kRecordParentid = "parentid";
const vqString kRecordParenttype = "parenttype";
const vqString kRecordParentverfrom = "parentverfrom";
const vqString kRecordParentverto = "parentverto";
const vqString kRecordPfname = "pfname";
const vqString kRecordPfpath = "pfpath";
const vqString kRecordPreviewimages = "previewimages";
const vqString kRecordSmdChildPrefix = "smdchild_";  // followed by more text when used
const vqString kRecordTorevision = "torevision";

// Child groups of the product structure.
const vqString kGroupRepresentations = "representations";
const vqString kGroupAssignedkpts = "assignedkpts";
const vqString kGroupCurrentrep = "currentrep";
const vqString kGroupEs = "es";
const vqString kGroupExternalfile = "externalfile";
const vqString kGroupFiles = "files";
const vqString kGroupKpi = "kpi";
const vqString kGroupPartprotos = "partprotos";
const vqString kGroupPartprotoinst = "partprotoinst";
const vqString kGroupPartprotooccs = "partprotooccs";
const vqString kGroupProtofiles = "protofiles";
const vqString kGroupProtorep = "protorep";
const vqString kGroupRealizationentity = "realizationentity";
const vqString kGroupSimulations = "simulations";
const vqString kEmptyString = "";

// Environment variables (continued).
const vqString kEnvVqPlatform = "VQ_PLATFORM";
const vqString kEnvVqRootDir = "VQ_ROOTDIR";
const vqString kEnvUdmrtHome = "UDMRT_HOME";
const vqString kEnvUdmrtLogDir = "UDMRT_LOGDIR";

// Group and folder kinds.
const vqString kGroupCategories = "Categories";
const vqString kFolderKindCategories = "Categories";
const vqString kGroupFoldertype = "Foldertype";
const vqString kFolderKindFoldertype = "Foldertype";
const vqString kFolderKindContentTypes = "ContentTypes";

// Index kinds and the keys declared with them.
const vqString kIndexKindIndex = "Index";
const vqString kIndexKindLogical = "Logical";
const vqString kIndexKindUnique = "Unique";
const vqString kIndexKeyDisplayname = "displayname";
const vqString kIndexKeyName = "name";
const vqString kIndexKeyPath = "path";

// Occurrence kinds.
const vqString kOccurrenceNormal = "Normal";
const vqString kOccurrenceOccurrence = "Occurrence";
const vqString kOccurrenceProto = "Proto";
const vqString kOccurrenceProtoInstance = "ProtoInstance";

// Attribute data types.
const vqString kTypeBoolean = "Boolean";
const vqString kTypeColor = "Color";
const vqString kTypeDate = "Date";
const vqString kTypeDouble = "Double";
const vqString kTypeLong = "Long";
const vqString kTypeReference = "reference";
const vqString kTypeStringList = "StringList";
const vqString kTypeString = "String";

// Repository and workspace record keys.
const vqString kRepoKeyVersion = "version";
const vqString kRepoKeyContentid = "contentid";
const vqString kRepoKeyGenericdocid = "genericdocid";
const vqString kRepoKeyRepoid = "repoid";
const vqString kRepoKeyWorkspace = "workspace";
const vqString kRepoKeyUdmukeyrepo = "udmukeyrepo";
const vqString kRepoKeyCo = "co";
const vqString kRepoKeyDescription = "description";
const vqString kRepoKeyFrozen = "frozen";
const vqString kRepoKeyGetusecount = "getusecount";
const vqString kRepoKeyLstmod = "lstmod";
const vqString kRepoKeyMad = "mad";
const vqString kRepoKeyMaud = "maud";
const vqString kRepoKeyUloc = "uloc";
const vqString kRepoKeyUname = "uname";
const vqString kRepoKeyUval = "uval";
const vqString kWorkspaceKeyVersion = "version";
const vqString kRepoKeyWsname = "wsname";
const vqString kRepoKeyMdname = "mdname";
const vqString kRepoKeyMdvalue = "mdvalue";
const vqString kRepoKeyRoot = "_root";
const vqString kRepoKeyFilepath = "filepath";

// Numeric code strings.
const vqString kCode101 = "101";
const vqString kCode102 = "102";
const vqString kCode103 = "103";
const vqString kCode501 = "501";
const vqString kCode502 = "502";
const vqString kCode503 = "503";
const vqString kCode504 = "504";
const vqString kCode505 = "505";
const vqString kCode506 = "506";
const vqString kCode507 = "507";
const vqString kCode508 = "508";
const vqString kCode509 = "509";
const vqString kCode510 = "510";

// Other fixed texts.
const vqString kEntityFactoryPluginInterface = "IUDMEntityFactoryPlugin";
const vqString kNotRetrieved = "(Not retrieved)";
const vqString kModuleModel = "Module Model";
const vqString kModuleModelP = "Module Model.p";

// Characters that no entity name may contain, so that a versioned URL always parses.
const vqString kReservedCharacters = "[]/\\&~?*|<>\";:+";

}  // namespace vqkudm
