#pragma once

/// The names of the entities of definition and result files, one constant each, so that
/// reader and writer cannot differ. The names of columns stand in the column tables of
/// their classes.
namespace entity {

inline constexpr char Header[] = "Header";
inline constexpr char AgentScan[] = "AgentScan";
inline constexpr char BackupAction[] = "BackupAction";
inline constexpr char ComputerID[] = "ComputerID";
inline constexpr char CuStatDef[] = "CuStatDef";
inline constexpr char CuStatResults[] = "CuStatResults";
inline constexpr char Domain[] = "Domain";
inline constexpr char FileScoreRule[] = "FileScoreRule";
inline constexpr char Filesystem[] = "Filesystem";
inline constexpr char FileType[] = "FileType";
inline constexpr char FileTypeSummary[] = "FileTypeSummary";
inline constexpr char LdapTree[] = "LdapTree";
inline constexpr char MonDirSpec[] = "MonDirSpec";
inline constexpr char NasFiler[] = "NasFiler";
inline constexpr char ResultsByFS[] = "ResultsByFS";
inline constexpr char SDirectory[] = "SDirectory";
inline constexpr char SFile[] = "SFile";
inline constexpr char SFileCandidate[] = "SFileCandidate";
inline constexpr char SMonDir[] = "SMonDir";
inline constexpr char SSizeDist[] = "SSizeDist";
inline constexpr char SSummary[] = "SSummary";
inline constexpr char STimeDist[] = "STimeDist";
inline constexpr char SUGHist[] = "SUGHist";
inline constexpr char SUserOrGroup[] = "SUserOrGroup";
inline constexpr char UserOrGroup[] = "UserOrGroup";
inline constexpr char UserOrGroupGroup[] = "UserOrGroupGroup";  // the group of an entry
inline constexpr char UserOrGroupUser[] = "UserOrGroupUser";    // its owner

}  // namespace entity
