#pragma once

// Names used only by the parts that deal with parts, ports, materials and
// analysis items.

#include <vqnames/UDMNames.h>

namespace vqkudm {

// Content-definition class names of parts, ports, materials and analysis items.
const vqString kClassRepresentationmaterial = "UDMRepresentationmaterial";
const vqString kClassAppliedAnalysisItem = "UDMAppliedAnalysisItem";
const vqString kClassCriteriaState = "UDMCriteriaState";
const vqString kClassCoordSysAngle = "UDMCoordSysAngle";
const vqString kClassCoordSysAxisPlane = "UDMCoordSysAxisPlane";
const vqString kClassCoordSysUJoint = "UDMCoordSysUJoint";
const vqString kClassPort = "UDMPort";
const vqString kClassRepMaterial = "UDMRepMaterial";
const vqString kClassRepPart = "UDMRepPart";

// Child groups of parts, ports, materials and analysis items.
const vqString kGroupBomid = "bomid";
const vqString kGroupItemuids = "itemuids";
const vqString kGroupSortid = "sortid";
const vqString kGroupAnalysis = "analysis";
const vqString kGroupBoas = "boas";
const vqString kGroupBoms = "boms";
const vqString kGroupParts = "parts";
const vqString kGroupPorts = "ports";
const vqString kGroupSystems = "systems";
const vqString kGroupAppanalysisitems = "appanalysisitems";
const vqString kGroupEntityselection = "entityselection";
const vqString kGroupMaterials = "materials";
const vqString kGroupRootentityset = "rootentityset";
const vqString kGroupCriterias = "criterias";

}  // namespace vqkudm
