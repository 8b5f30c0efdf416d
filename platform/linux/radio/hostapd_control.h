// hostapd, asked over its control socket while it runs.
#ifndef PLATFORM_LINUX_RADIO_HOSTAPD_H
#define PLATFORM_LINUX_RADIO_HOSTAPD_H

#include <cstddef>  // the header below needs it
#include <memory>
#include <string>

#include <wpa_ctrl.h>

#include "../wire/bytes.h"

namespace radio {

struct CloseControl {
  void operator()(wpa_ctrl* control) const { wpa_ctrl_close(control); }
};

class Hostapd {
 public:
  // Asks it whether it is there, and looks for it anew at `path` where it has gone. True where
  // another one answers than before: it knows nothing of what was set. Our end of the talk is a
  // socket in `own_folder`.
  bool renewed(const std::string& path, const std::string& own_folder);
  void detach() { control_.reset(); }
  bool attached() const { return control_ != nullptr; }

  // False where hostapd refuses, or is not there.
  bool set_elements(View elements) const;
  // `options` as hostapd names them, each after a blank.
  bool switch_channel(int count, int frequency, const std::string& options) const;

 private:
  bool ask(const std::string& command) const;

  std::unique_ptr<wpa_ctrl, CloseControl> control_;
};

}  // namespace radio

#endif
