################################################################################
#
# vorlent
#
################################################################################

# The sources lie beside this package, three folders up; for a build from a release set
# VORLENT_SITE_METHOD and VORLENT_SITE, and add the archive's hash to vorlent.hash.
VORLENT_VERSION = 1.0.0
VORLENT_SITE = $(VORLENT_PKGDIR)/../../..
VORLENT_SITE_METHOD = local
VORLENT_DEPENDENCIES = host-pkgconf cjson openssl
VORLENT_CONF_OPTS = -DVORLENT_TESTS=OFF -DVORLENT_LAB=OFF -DVORLENT_UNIT_DIR=

ifneq ($(call qstrip,$(BR2_PACKAGE_VORLENT_PLATFORM)),)
VORLENT_CONF_OPTS += -DVORLENT_PLATFORM="$(call qstrip,$(BR2_PACKAGE_VORLENT_PLATFORM))"
VORLENT_COMPONENTS = daemon
else
VORLENT_COMPONENTS = daemon nvram
endif

# Component by component: the documents and the dissector stay off the board; what manual pages come
# along Buildroot removes.
define VORLENT_INSTALL_TARGET_CMDS
	$(foreach component,$(VORLENT_COMPONENTS),\
		DESTDIR=$(TARGET_DIR) $(HOST_DIR)/bin/cmake --install $(VORLENT_BUILDDIR) \
			--prefix /usr --component $(component)$(sep))
endef

define VORLENT_INSTALL_INIT_SYSTEMD
	$(INSTALL) -D -m 0644 $(@D)/packaging/systemd/vorlent.service \
		$(TARGET_DIR)/usr/lib/systemd/system/vorlent.service
endef

$(eval $(cmake-package))
