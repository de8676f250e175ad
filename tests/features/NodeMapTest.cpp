#include <gtest/gtest.h>
#include "features/NodeMap.h"
#include "tests/features/TestCamera.h"
using namespace tq4::features;
TEST(Probe, Kinds) {
    test::MemoryPort port; port.fillDefaults();
    NodeMap map;
    map.loadXml(test::kDescription, sizeof test::kDescription);
    ASSERT_TRUE(map.connect(&port));
    for (const char* n : {"Root","Width","WidthReg","DeviceIP","DeviceMAC","HexValue","ExposureTime","ExposureReg","Gain","GainLocked","DeviceTemperatureRaw","ReverseX","AcquisitionStart","PixelFormat","Mono8","WriteOnlyValue","DeviceUserID","RawBlock","Zero","NotImplemented","NotAvailable","Device"}) {
        Node* node = map.getNode(n);
        if (!node) { printf("%s: absent\n", n); continue; }
        try { printf("%s: type %d access %d\n", n, node->GetPrincipalInterfaceType(), node->GetAccessMode()); }
        catch (const GenericException& e) { printf("%s: exc %s\n", n, e.GetDescription()); }
    }
    auto* pf = dynamic_cast<EnumerationNode*>(map.getNode("PixelFormat"));
    std::vector<std::string> s; pf->GetSymbolics(s); for (auto& x: s) printf("sym %s\n", x.c_str());
    printf("cur %s\n", pf->GetCurrentEntry()->GetSymbolic().c_str());
    auto* g = dynamic_cast<FloatNode*>(map.getNode("Gain"));
    printf("gain %g inc %g unit %s\n", g->GetValue(), g->GetInc(), g->GetUnit().c_str());
    auto* w = dynamic_cast<IntegerNode*>(map.getNode("Width"));
    printf("w %ld %ld %ld %ld rep %d\n", w->GetValue(), w->GetMin(), w->GetMax(), w->GetInc(), w->GetRepresentation());
    try { w->SetValue(8000); } catch (const GenericException& e) { printf("range exc: %s\n", e.GetDescription()); }
    try { dynamic_cast<IntegerNode*>(map.getNode("DeviceTemperatureRaw"))->SetValue(1); } catch (const GenericException& e) { printf("ro exc: %s\n", e.GetDescription()); }
    port.put<uint32_t>(test::kGainLocked, 1);
    printf("gain locked access %d\n", g->GetAccessMode());
}
