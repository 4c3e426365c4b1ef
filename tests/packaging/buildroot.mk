# What Buildroot defines that a package relies on, as it is documented, with this machine's own compiler. What is
# configured comes as variables; OUT is where everything goes.
INSTALL = install
BUILD_DIR = $(OUT)/build
STAGING_DIR = $(OUT)/staging
TARGET_DIR = $(OUT)/target

qstrip = $(strip $(subst ",,$(1)))
UPPERCASE = $(shell echo $(1) | tr a-z- A-Z_)
pkgdir = $(dir $(lastword $(MAKEFILE_LIST)))
pkgname = $(lastword $(subst /, ,$(pkgdir)))
define sep


endef

all:

cmake-package = $(call inner-cmake-package,$(call UPPERCASE,$(pkgname)),$(BUILD_DIR)/$(pkgname),$(pkgdir))

# inner-cmake-package PREFIX FOLDER PKGDIR
define inner-cmake-package
$(1)_PKGDIR := $(3)
$(1)_SUBDIR := $(if $(filter NO,$($(1)_SUPPORTS_IN_SOURCE_BUILD)),buildroot-build,.)
all: $$(if $$(filter YES,$$($(1)_INSTALL_STAGING)),$(2)/.staged) $(2)/.target

$(2)/.built:
	mkdir -p $(2)
	tar -C $(2) --strip-components=1 -xf $$($(1)_SITE)/$$($(1)_SOURCE)
	cmake -S $(2) -B $(2)/$$($(1)_SUBDIR) -G Ninja \
		-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_VERSION=1 -DCMAKE_SYSTEM_PROCESSOR=native \
		-DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_C_FLAGS_RELEASE=-DNDEBUG \
		-DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG -DCMAKE_C_FLAGS=-O0 -DCMAKE_CXX_FLAGS=-O0 \
		-DBUILD_SHARED_LIBS=ON $$($(1)_CONF_OPTS)
	cmake --build $(2)/$$($(1)_SUBDIR) -- --quiet
	touch $$@

$(2)/.staged: $(2)/.built
	DESTDIR=$$(STAGING_DIR) cmake --install $(2)/$$($(1)_SUBDIR)
	touch $$@

$(2)/.target: $(2)/.built
	DESTDIR=$$(TARGET_DIR) cmake --install $(2)/$$($(1)_SUBDIR)
	$$(foreach hook,$$($(1)_POST_INSTALL_TARGET_HOOKS),$$(call $$(hook))$$(sep))
	$$($(1)_INSTALL_INIT_SYSV)
	# What no target keeps; completion goes where there is no bash.
	rm -rf $$(addprefix $$(TARGET_DIR)/usr/,include lib/pkgconfig lib/cmake share/man share/doc)
	find $$(TARGET_DIR) -name '*.a' -delete
	$$(if $$(BR2_PACKAGE_BASH),,rm -rf $$(TARGET_DIR)/usr/share/bash-completion)
	$$(if $$(BR2_PACKAGE_ZSH),,rm -rf $$(TARGET_DIR)/usr/share/zsh)
	touch $$@
endef

include $(BR2_EXTERNAL_LTEROUTER_PATH)/external.mk
