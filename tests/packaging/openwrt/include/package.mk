PKG_BUILD_DIR = $(OUT)/$(PKG_NAME)-$(PKG_VERSION)
PKG_INSTALL_DIR = $(OUT)/installed

$(OUT)/.installed:
	tar -C $(OUT) -xf $(DL_DIR)/$(PKG_SOURCE)
	$(Build/Configure)
	$(Build/Compile)
	$(if $(PKG_INSTALL),$(Build/Install))
	$(call Build/InstallDev,$(STAGING_DIR))
	touch $@

needs = $(if $(strip $($(2))),,$(error package $(1) has no $(2)))

define BuildPackage
$(foreach field,SECTION CATEGORY TITLE DEPENDS ABI_VERSION,$(eval $(field) :=))
$(eval $(Package/$(1)))
$(foreach field,SECTION CATEGORY TITLE Package/$(1)/description,$(call needs,$(1),$(field)))
all: $(OUT)/packages/$(1)
$(OUT)/packages/$(1): $(OUT)/.installed
	$(INSTALL_DIR) $(OUT)/packages/$(1) $(OUT)/about
	$(call Package/$(1)/install,$(OUT)/packages/$(1))
	echo '$(ABI_VERSION)' '$(strip $(DEPENDS))' >$(OUT)/about/$(1)
	echo $(strip $(Package/$(1)/conffiles)) >$(OUT)/about/$(1).conffiles
endef
