# As much of OpenWrt's build as the package's Makefile asks for: stands in for rules.mk and for what it
# includes. The blocks that the Makefile defines run as they do there.
INCLUDE_DIR = $(TOPDIR)
INSTALL_DIR = install -d -m0755
INSTALL_BIN = install -m0755
INSTALL_DATA = install -m0644
INSTALL_CONF = install -m0600
CP = cp -fpR
qstrip = $(strip $(subst ",,$(1)))
PKG_BUILD_DIR = $(OUT)/sources
PKG_INSTALL_DIR = $(OUT)/installed

define BuildPackage
$(eval $(Package/$(1)))
prepare:
	$$(Build/Prepare)
package:
	$$(call Package/$(1)/install,$(OUT)/root)
options: ; @printf '%s\n' $$(CMAKE_OPTIONS)
said: ; @printf '%s\n' '$(PKG_VERSION)' '$(DEPENDS)' $$(Package/$(1)/conffiles)
endef
