################################################################################
#
# lterouter
#
################################################################################

LTEROUTER_VERSION = 1.1.0
LTEROUTER_SITE = $(call qstrip,$(BR2_PACKAGE_LTEROUTER_ARCHIVES))
LTEROUTER_SITE_METHOD = file
LTEROUTER_SOURCE = lterouter_$(LTEROUTER_VERSION).orig.tar.gz
LTEROUTER_INSTALL_STAGING = YES
LTEROUTER_SUPPORTS_IN_SOURCE_BUILD = NO
LTEROUTER_CONF_OPTS = \
	-DLTEROUTER_TESTS=OFF \
	-DLTEROUTER_WERROR=OFF \
	-DCMAKE_SKIP_RPATH=ON

# No target has this shell, or shows captures or dashboards.
define LTEROUTER_REMOVE_FOR_DESKS
	$(RM) -r $(TARGET_DIR)/usr/share/fish/vendor_completions.d
	rmdir $(TARGET_DIR)/usr/share/fish 2>/dev/null || :
	$(RM) $(addprefix $(TARGET_DIR)/usr/share/lterouter/,lterouter.lua lterouter-dashboard.json)
endef
LTEROUTER_POST_INSTALL_TARGET_HOOKS += LTEROUTER_REMOVE_FOR_DESKS

ifneq ($(BR2_PACKAGE_LTEROUTER_TOOLS),y)
define LTEROUTER_REMOVE_TOOLS
	$(RM) $(foreach tool,ltectl wansim modemsim, \
		$(TARGET_DIR)/usr/bin/$(tool) \
		$(TARGET_DIR)/usr/share/bash-completion/completions/$(tool))
	$(RM) $(TARGET_DIR)/usr/share/zsh/vendor-completions/_lterouter
	$(RM) -r $(TARGET_DIR)/usr/share/lterouter
endef
LTEROUTER_POST_INSTALL_TARGET_HOOKS += LTEROUTER_REMOVE_TOOLS
endif

ifeq ($(BR2_PACKAGE_LTEROUTER_WEB),y)
LTEROUTER_DEPENDENCIES += libmicrohttpd $(if $(BR2_PACKAGE_LIBXCRYPT),libxcrypt)
LTEROUTER_CONF_OPTS += -DLTEROUTER_WEB=ON
else
LTEROUTER_CONF_OPTS += -DLTEROUTER_WEB=OFF
endif

LTEROUTER_SCRIPTS = \
	$(if $(BR2_PACKAGE_LTEROUTER_STORE),S12lterouter) \
	$(if $(BR2_PACKAGE_LTEROUTER_WEB),S95lteweb)

define LTEROUTER_INSTALL_INIT_SYSV
	$(foreach script,$(LTEROUTER_SCRIPTS), \
		$(INSTALL) -D -m 0755 $(LTEROUTER_PKGDIR)/$(script) \
			$(TARGET_DIR)/etc/init.d/$(script) &&) :
	$(if $(BR2_PACKAGE_LTEROUTER_WEB),$(INSTALL) -D -m 0644 $(LTEROUTER_PKGDIR)/lteweb.default \
		$(TARGET_DIR)/etc/default/lteweb)
endef

$(eval $(cmake-package))
