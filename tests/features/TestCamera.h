// A small camera for the node-map tests and benchmarks: a description with every node kind,
// integer representations, access modes, a locked feature and an unavailable enumeration
// entry, and a register space held in memory.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "features/NodeMap.h"

namespace tq4::features::test {

// Register addresses of the description below (little-endian registers).
// clang-format off
enum Address : int64_t {
    kWidth = 0x00, kDeviceIp = 0x08, kDeviceMac = 0x10, kHexValue = 0x18, kExposure = 0x20, kGain = 0x28,
    kGainLocked = 0x30, kTemperature = 0x38, kReverseX = 0x40, kStart = 0x48, kPixelFormat = 0x50, kWriteOnly = 0x58,
    kUserId = 0x100, kRawBlock = 0x200,
};
// clang-format on

constexpr int64_t kMono8 = 0x01080001, kMono12 = 0x010C0047, kMono14 = 0x01100025, kMono16 = 0x01100007;

inline const char kDescription[] = R"XML(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="TestCamera" VendorName="Test" ToolTip="node-map test camera"
    StandardNameSpace="None" SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0"
    MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ProductGuid="11111111-2222-3333-4444-555555555555" VersionGuid="11111111-2222-3333-4444-666666666666"
    xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>Width</pFeature>
    <pFeature>ExposureTime</pFeature>
    <pFeature>PixelFormat</pFeature>
  </Category>
  <Integer Name="Width"><pValue>WidthReg</pValue><Min>16</Min><Max>4096</Max><Inc>16</Inc></Integer>
  <IntReg Name="WidthReg"><Address>0x00</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Integer Name="DeviceIP"><pValue>IpReg</pValue><Representation>IPV4Address</Representation></Integer>
  <IntReg Name="IpReg"><Address>0x08</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Integer Name="DeviceMAC"><pValue>MacReg</pValue><Representation>MACAddress</Representation></Integer>
  <IntReg Name="MacReg"><Address>0x10</Address><Length>8</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Integer Name="HexValue"><pValue>HexReg</pValue><Representation>HexNumber</Representation></Integer>
  <IntReg Name="HexReg"><Address>0x18</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Float Name="ExposureTime"><pValue>ExposureReg</pValue><Min>10</Min><Max>100000</Max><Unit>us</Unit></Float>
  <FloatReg Name="ExposureReg"><Address>0x20</Address><Length>8</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Endianess>LittleEndian</Endianess></FloatReg>
  <Float Name="Gain"><pIsLocked>GainLocked</pIsLocked><pValue>GainReg</pValue><Min>0</Min><Max>48</Max><Unit>dB</Unit></Float>
  <FloatReg Name="GainReg"><Address>0x28</Address><Length>8</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Endianess>LittleEndian</Endianess></FloatReg>
  <IntReg Name="GainLocked"><Address>0x30</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <IntReg Name="DeviceTemperatureRaw"><Address>0x38</Address><Length>4</Length><AccessMode>RO</AccessMode>
    <pPort>Device</pPort><Sign>Signed</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Boolean Name="ReverseX"><pValue>ReverseXReg</pValue><OnValue>1</OnValue><OffValue>0</OffValue></Boolean>
  <IntReg Name="ReverseXReg"><Address>0x40</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Command Name="AcquisitionStart"><pValue>StartReg</pValue><CommandValue>1</CommandValue></Command>
  <IntReg Name="StartReg"><Address>0x48</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Enumeration Name="PixelFormat">
    <EnumEntry Name="Mono8"><Value>0x01080001</Value></EnumEntry>
    <EnumEntry Name="Mono12"><Value>0x010C0047</Value></EnumEntry>
    <EnumEntry Name="Mono14"><pIsAvailable>Zero</pIsAvailable><Value>0x01100025</Value></EnumEntry>
    <EnumEntry Name="Mono16"><Value>0x01100007</Value></EnumEntry>
    <pValue>PixelFormatReg</pValue>
  </Enumeration>
  <IntReg Name="PixelFormatReg"><Address>0x50</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <IntReg Name="WriteOnlyValue"><Address>0x58</Address><Length>4</Length><AccessMode>WO</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <StringReg Name="DeviceUserID"><Address>0x100</Address><Length>16</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort></StringReg>
  <Register Name="RawBlock"><Address>0x200</Address><Length>16</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort></Register>
  <Integer Name="Zero"><Value>0</Value></Integer>
  <Integer Name="NotImplemented"><pIsImplemented>Zero</pIsImplemented><Value>5</Value></Integer>
  <Integer Name="NotAvailable"><pIsAvailable>Zero</pIsAvailable><Value>5</Value></Integer>
  <Port Name="Device"/>
</RegisterDescription>
)XML";

// A register space in memory. Reads and writes outside it are ignored, as a failing port.
class MemoryPort : public RegisterPort {
public:
    std::vector<uint8_t> bytes = std::vector<uint8_t>(0x400, 0);
    int reads = 0, writes = 0;

    void Read(void* buffer, int64_t address, int64_t length) override {
        ++reads;
        if (inside(address, length)) std::memcpy(buffer, bytes.data() + address, size_t(length));
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        ++writes;
        if (inside(address, length)) std::memcpy(bytes.data() + address, buffer, size_t(length));
    }

    template <class T>
    void put(int64_t address, T value) {
        std::memcpy(bytes.data() + address, &value, sizeof value);
    }
    template <class T>
    T get(int64_t address) const {
        T value;
        std::memcpy(&value, bytes.data() + address, sizeof value);
        return value;
    }

    // Values the tests start from.
    void fillDefaults() {
        put<uint32_t>(kWidth, 640);
        put<double>(kExposure, 1000.0);
        put<double>(kGain, 6.0);
        put<int32_t>(kTemperature, 42);
        put<uint32_t>(kPixelFormat, uint32_t(kMono12));
    }

private:
    bool inside(int64_t address, int64_t length) const {
        return address >= 0 && length >= 0 && uint64_t(address + length) <= bytes.size();
    }
};

// The description loaded into a map connected to a port that holds the defaults.
struct ConnectedCamera {
    ConnectedCamera() {
        port.fillDefaults();
        map.loadXml(kDescription, sizeof kDescription);
        connected = map.connect(&port);
    }
    MemoryPort port;
    NodeMap map;
    bool connected = false;
};

}  // namespace tq4::features::test
