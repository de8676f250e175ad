// The device Aravis reads the camera's registers from. Every <Port> of a description reaches
// this one device, whose memory is the RegisterPort the node map was connected to.
#include "features/aravis/Engine.h"

namespace {

struct Tq4PortDevice {
    ArvDevice parent;
    tq4::features::RegisterPort* port;  // null until connected: reads leave the buffer alone
    ArvGc* genicam;                     // not owned: the node map owns both
};

struct Tq4PortDeviceClass {
    ArvDeviceClass parent_class;
};

G_DEFINE_TYPE(Tq4PortDevice, tq4_port_device, ARV_TYPE_DEVICE)

Tq4PortDevice* asPortDevice(ArvDevice* device) {
    return G_TYPE_CHECK_INSTANCE_CAST(device, tq4_port_device_get_type(), Tq4PortDevice);
}

gboolean readMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError**) {
    if (auto* port = asPortDevice(device)->port) port->Read(buffer, int64_t(address), size);
    return TRUE;
}

gboolean writeMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError**) {
    if (auto* port = asPortDevice(device)->port) port->Write(buffer, int64_t(address), size);
    return TRUE;
}

gboolean readRegister(ArvDevice* device, guint64 address, guint32* value, GError** error) {
    return readMemory(device, address, sizeof *value, value, error);
}

gboolean writeRegister(ArvDevice* device, guint64 address, guint32 value, GError** error) {
    return writeMemory(device, address, sizeof value, &value, error);
}

ArvGc* getGenicam(ArvDevice* device) { return asPortDevice(device)->genicam; }

void tq4_port_device_init(Tq4PortDevice* self) {
    self->port = nullptr;
    self->genicam = nullptr;
}

void tq4_port_device_class_init(Tq4PortDeviceClass* klass) {
    ArvDeviceClass* deviceClass = &klass->parent_class;
    deviceClass->read_memory = readMemory;
    deviceClass->write_memory = writeMemory;
    deviceClass->read_register = readRegister;
    deviceClass->write_register = writeRegister;
    deviceClass->get_genicam = getGenicam;
}

}  // namespace

namespace tq4::features {

ArvDevice* newPortDevice() { return ARV_DEVICE(g_object_new(tq4_port_device_get_type(), nullptr)); }

void setPortDeviceTarget(ArvDevice* device, RegisterPort* port, ArvGc* genicam) {
    Tq4PortDevice* self = asPortDevice(device);
    self->port = port;
    self->genicam = genicam;
}

}  // namespace tq4::features
