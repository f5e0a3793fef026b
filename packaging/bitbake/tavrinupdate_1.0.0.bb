# What names one platform stands in angle brackets: docs/image.md tells how each is filled in.

SUMMARY = "CPLD firmware update and inventory"
DESCRIPTION = "Updates the firmware of the CPLDs on PBB, PDB and FLOP boards over I2C, and publishes \
their versions as software inventory on the system D-Bus."
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

SRC_URI = "git://<SOURCE_HOST>/<SOURCE_PATH>;branch=<SOURCE_BRANCH>;protocol=https;destsuffix=${BP}"
SRCREV = "<SOURCE_REVISION>"
# Releases before 5.1 unpack into WORKDIR.
S = "${@d.getVar('UNPACKDIR') or d.getVar('WORKDIR')}/${BP}"

inherit meson pkgconfig python3native systemd

DEPENDS = " \
    boost \
    openssl \
    python3-pyyaml-native \
    python3-sdbus++-native \
    sdbusplus \
    systemd \
    ${PLATFORM_RECIPES} \
"

# The recipes of the platform's libraries, and the libraries' names without "lib" and ".so". They are
# often set in the machine's configuration instead.
PLATFORM_RECIPES ?= "<PLATFORM_RECIPES>"
PLATFORM_LIBRARIES ?= "<PLATFORM_LIBRARIES>"

# The present state of sdbusplus needs C++23; its 2023 state takes C++20 as well.
SERVICE_CPP_STD ?= "c++23"

# meson.bbclass builds with buildtype plain, so that optimisation is the distribution's choice.
EXTRA_OEMESON = " \
    -Dplatform=real \
    -Dplatform_libs=${@','.join(d.getVar('PLATFORM_LIBRARIES').split())} \
    -Dcpp_std=${SERVICE_CPP_STD} \
    -Db_lto=true \
    -Dtests=false \
"

CXXFLAGS += "-ffunction-sections -fdata-sections"
LDFLAGS += "-Wl,--gc-sections"

SYSTEMD_SERVICE:${PN} = "tavrinupdate.service"

RDEPENDS:${PN} = "dbus"

FILES:${PN} += " \
    ${libexecdir}/tavrinupdate \
    ${systemd_system_unitdir}/tavrinupdate.service \
    ${datadir}/dbus-1/system.d/com.vexa.bevon.tavrinupdate.conf \
"

# For those who build clients; an image needs neither.
FILES:${PN}-dev += " \
    ${datadir}/dbus-1/interfaces \
    ${datadir}/tavrinupdate/interfaces \
"
