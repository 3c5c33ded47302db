#pragma once

/// A message of the catalog: its number and the identifier that reports carry.
struct MessageId {
    int number;
    const char* identifier;  // ends in the severity: I, W, E, or T for a label
};

/// All messages of the job. Each stands in nls/en_US/cvnna.msg under its number.
namespace message {

inline constexpr MessageId AGT0069E{1067, "AGT0069E"};  // file not opened: file
inline constexpr MessageId AGT0070E{1068, "AGT0070E"};  // file not read: file
inline constexpr MessageId AGT0071E{1069, "AGT0071E"};  // contents not used: file
inline constexpr MessageId AGT0143I{1141, "AGT0143I"};  // entries so far
inline constexpr MessageId AGT0144I{1142, "AGT0144I"};  // entries in all
inline constexpr MessageId AGT0146I{1144, "AGT0146I"};  // job started
inline constexpr MessageId AGT0397E{1750, "AGT0397E"};  // no command: argument
inline constexpr MessageId AGT0398E{1751, "AGT0398E"};  // bad argument: argument
inline constexpr MessageId GEN7001E{7001, "GEN7001E"};  // record not parsed
inline constexpr MessageId NAA0039W{1539, "NAA0039W"};  // import not understood: device
inline constexpr MessageId STA0001E{301, "STA0001E"};   // too deep: directory
inline constexpr MessageId STA0025I{325, "STA0025I"};   // scanning: file system
inline constexpr MessageId STA0026I{326, "STA0026I"};   // statistics: list
inline constexpr MessageId STA0027I{327, "STA0027I"};   // directory statistics: list
inline constexpr MessageId STA0028I{328, "STA0028I"};   // internal condition: text
inline constexpr MessageId STA0063E{363, "STA0063E"};   // no attributes: path
inline constexpr MessageId STA0069W{369, "STA0069W"};   // no attributes: path
inline constexpr MessageId STA0094E{394, "STA0094E"};   // mount table not opened: text
inline constexpr MessageId STA0095E{395, "STA0095E"};   // mount table not locked: text
inline constexpr MessageId STA0096E{396, "STA0096E"};   // no space figures: text
inline constexpr MessageId STA0097E{397, "STA0097E"};   // device not opened: text
inline constexpr MessageId STA0098E{398, "STA0098E"};   // device not positioned: text
inline constexpr MessageId STA0099E{399, "STA0099E"};   // device not read: text
inline constexpr MessageId STA0103W{403, "STA0103W"};   // not mounted: mount key
inline constexpr MessageId STA0119E{419, "STA0119E"};   // file reset: file
inline constexpr MessageId STA0121E{421, "STA0121E"};   // directory not opened: path
inline constexpr MessageId STA0135W{436, "STA0135W"};   // no security data: path
inline constexpr MessageId STA0139W{440, "STA0139W"};   // path too long: path
inline constexpr MessageId STA0161I{462, "STA0161I"};   // scan completed
inline constexpr MessageId STA0430E{714, "STA0430E"};   // definition unusable
inline constexpr MessageId STA0528T{2232, "STA0528T"};  // usage
inline constexpr MessageId STA0529E{2233, "STA0529E"};  // directory refused: text
inline constexpr MessageId STA0530E{2234, "STA0530E"};  // directory gone: text
inline constexpr MessageId STA0531E{2236, "STA0531E"};  // locked elsewhere: mount point
inline constexpr MessageId STA0532I{2237, "STA0532I"};  // to be scanned: list
inline constexpr MessageId STA0620E{2325, "STA0620E"};  // cluster directory unreadable: text
inline constexpr MessageId STA0622E{2327, "STA0622E"};  // no cluster name
inline constexpr MessageId STA0647E{2352, "STA0647E"};  // nothing to scan
inline constexpr MessageId STA9001W{9001, "STA9001W"};  // not looked up: file system, counts
inline constexpr MessageId STA9002E{9002, "STA9002E"};  // ended: no memory
inline constexpr MessageId STA9003E{9003, "STA9003E"};  // ended: result not written: text
inline constexpr MessageId STA9004W{9004, "STA9004W"};  // ended: told to stop
inline constexpr MessageId STA9005E{9005, "STA9005E"};  // ended: broke: text
inline constexpr MessageId STA9006E{9006, "STA9006E"};  // ended: runs already: process id
inline constexpr MessageId STA9010W{9010, "STA9010W"};  // monitored directory left out: path

}  // namespace message
