# What OpenWrt's files of these names define that recipes rely on, as it is documented, with this machine's own
# compiler. DL_DIR holds the source archive, OUT is where everything goes.
INCLUDE_DIR := $(TOPDIR)/include
STAGING_DIR := $(OUT)/staging

INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
INSTALL_DATA := install -m0644
INSTALL_CONF := install -m0600
CP := cp -fpR

.DEFAULT_GOAL := all
