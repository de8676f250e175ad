// Typed, checked access to camera features by name. Each helper looks the feature up, checks
// its access mode, then its kind, and performs the operation; every failure is logged once
// (error class, the helper's name as prefix) and reported only by a neutral result: false, 0,
// 0.0 or an empty string. Engine exceptions never leave a helper; the standard library's
// number-parse exceptions of setString do, on purpose.
//
// A feature the camera lacks is looked for under the older names cameras give it (SFNC 1.x and
// GigE Vision names: ExposureTimeAbs for ExposureTime, AcquisitionFrameRateAbs for
// AcquisitionFrameRate, AcquisitionFrameRateEnabled for AcquisitionFrameRateEnable, DeviceID for
// DeviceSerialNumber); helpers and predicates then read and write whichever the camera has, and
// log under the name asked for. A float the camera gives without a unit reports the unit SFNC
// defines for it (us for the exposure time, Hz for the frame rate).
//
// Each call holds the node map's lock, so the SDK's thread and the stream thread may share
// one map.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "features/NodeMap.h"

namespace tq4::features {

bool callCommand(NodeMap& map, const char* name);  // executes, does not wait for completion
bool setBoolean(NodeMap& map, const char* name, bool value);
bool setInteger(NodeMap& map, const char* name, int64_t value);
bool setFloat(NodeMap& map, const char* name, double value);
bool setEnum(NodeMap& map, const char* name, const std::string& symbol);

// Whether the enumeration has the entry; with onlyAvailable, also whether it may be chosen now.
bool hasEnumEntry(NodeMap& map, const char* name, const std::string& symbol, bool onlyAvailable);

// Fills `out` with the entries that may be chosen now. Returns false on every path: callers
// judge by the list.
bool getEnumEntries(NodeMap& map, const char* name, std::vector<std::string>& out);

// Writes any feature from text, converted by its kind (and an integer's representation).
// Stays true when an enumeration lacks the entry; only an engine error makes it false.
bool setString(NodeMap& map, const char* name, const std::string& value);

bool getBoolean(NodeMap& map, const char* name);
// For an enumeration: the current entry's value, also written to min, max and inc.
int64_t getInteger(NodeMap& map, const char* name, int64_t* min = nullptr, int64_t* max = nullptr,
                   int64_t* inc = nullptr);
double getFloat(NodeMap& map, const char* name, double* min = nullptr, double* max = nullptr, double* inc = nullptr,
                std::string* unit = nullptr);
std::string getEnum(NodeMap& map, const char* name);    // symbol of the current entry
std::string getString(NodeMap& map, const char* name);  // any feature as text

// The node the helpers use for `name`: its own, else that of the first older name of the same
// standard feature the camera has (ExposureTimeAbs for ExposureTime, ...); null when none. For
// callers that hold the map's lock.
Node* featureNode(NodeMap& map, const std::string& name);

// Predicates: log nothing.
bool isFeaturePresent(NodeMap& map, const char* name);
bool isFeatureReadable(NodeMap& map, const char* name);
bool isFeatureWritable(NodeMap& map, const char* name);

}  // namespace tq4::features
