#include "schema_parts.h"

// Tables of the IO topology. Their writers store a key that does not exist as -1.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_pciDevice[] = {
    {0, "name", text, "", "Name of the device."},
    {1, "package", s32, "dd_package", "Package that the device belongs to."},
    {2, "device_class", s32, "dd_pci_device_class", "Class of the device."},
    {3, "address", text, "", "Address of the device: domain:bus:device.function, hexadecimal."},
    {4, "domain", u32, "", "Domain of the address."},
    {5, "bus", u16, "", "Bus of the address."},
    {6, "device", u16, "", "Device number of the address."},
    {7, "function", u16, "", "Function number of the address."},
    {8, "attr_a", s32, "", "Attribute of the device, numbered by the writer."},
    {9, "attr_b", s32, "", "Attribute of the device, numbered by the writer."},
    {10, "link_value_b", s32, "", "Value of link B, numbered by the writer."},
    {11, "link_speed_b", real, "", "Speed of link B in gigatransfers per second."},
    {12, "link_value_a", s32, "", "Value of link A, numbered by the writer."},
    {13, "link_speed_a", real, "", "Speed of link A in gigatransfers per second."},
    {14, "extra_text", text, "", "Further text of the device."},
};

constexpr column_t g_pciClass[] = {
    {0, "name", text, "", "Name of the class."},
    {1, "code", s32, "", "Code of the class, from the first device that named it."},
};

constexpr column_t g_trafficSource[] = {
    {0, "name", text, "", "Display name of the source."},
    {1, "detail", text, "", "Further description."},
    {2, "addresses", text, "", "PCI addresses behind the source, joined by commas."},
    {3, "package", s32, "dd_package", "Package of the source."},
};

constexpr column_t g_ioChannel[] = {
    {0, "channel", s32, "", "Number of the channel within its unit."},
    {1, "io_unit", s32, "dd_io_unit_info", "Unit of the channel."},
    {2, "package", s32, "dd_package", "Package of the channel."},
    {3, "traffic_source", s32, "dd_io_traffic_source", "What is behind the channel."},
    {4, "pci_device", s32, "dd_pci_device_info", "Device that stands for the channel."},
};

constexpr column_t g_ioUnit[] = {
    {0, "io_unit", s32, "", "Number of the unit within its package."},
    {1, "package", s32, "dd_package", "Package of the unit."},
    {2, "mesh_stop", s32, "dd_mesh_stop", "Mesh stop that the unit hangs off."},
    {3, "traffic_source", s32, "dd_io_traffic_source", "What is behind the unit."},
};

constexpr column_t g_meshStop[] = {
    {0, "tid", s32, "", "Number by which events name the stop."},
    {1, "package", s32, "dd_package", "Package of the stop."},
    {2, "traffic_source", s32, "dd_io_traffic_source", "What is behind the stop."},
};

constexpr column_t g_link[] = {
    {0, "package", s32, "dd_package", "Package of the link's near end."},
    {2, "link", s32, "", "Number of the link within its package."},
    {5, "display_name", text, "", "Display name of the link."},
};

constexpr column_t g_eventPlace[] = {
    {0, "event", s32, "dd_uncore_event_type", "Event, by whose name the places are found."},
    {1, "package", s32, "dd_package", "Package on which it counts."},
    {2, "io_channel", s32, "dd_io_channel_info", "Channel that it stands for there, or null."},
    {3, "io_unit", s32, "dd_io_unit_info", "IO unit that it stands for there, or null."},
    {4, "mesh_stop", s32, "dd_mesh_stop", "Mesh stop that it stands for there, or null."},
    {5, "link", s32, "dd_xlk_link_info", "Link that it stands for there, or null."},
};

constexpr table_t g_tables[] = {
    {"dd_pci_device_info", table_kind_t::attribute, "A row per PCI function.", g_pciDevice},
    {"dd_pci_device_class", table_kind_t::attribute, "A row per class of PCI devices.", g_pciClass},
    {"dd_io_traffic_source", table_kind_t::attribute,
     "A row per origin of IO traffic: a channel, a unit or a mesh stop.", g_trafficSource},
    {"dd_io_channel_info", table_kind_t::attribute, "A row per IO channel.", g_ioChannel},
    {"dd_io_unit_info", table_kind_t::attribute, "A row per IO unit.", g_ioUnit},
    {"dd_mesh_stop", table_kind_t::attribute, "A row per stop of the on-chip mesh.", g_meshStop},
    {"dd_xlk_link_info", table_kind_t::attribute, "A row per link between packages.", g_link},
    {"dd_uncore_event_place", table_kind_t::attribute,
     "A row per uncore event and package for which a place is known that the event stands for.",
     g_eventPlace, "event,package"},
};

} // namespace

std::span<const table_t> topologyTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
