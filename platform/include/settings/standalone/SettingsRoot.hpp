#pragma once

#include "settings/core/Settings.hpp"

#include <memory>
#include <string>

namespace settings::standalone {

/// The root of the user's settings, read anew on each call from one JSON file: the one that the
/// environment variable PX_SETTINGS_FILE names, else `tarmic/settings.json` in the XDG configuration
/// folder ($XDG_CONFIG_HOME, else $HOME/.config). In the file a JSON object is a node, its members of
/// type object are child nodes, all others values (text as it is; numbers, booleans as JSON writes
/// them; null means not set).
/// @return empty when there is no such file, or it cannot be used: it cannot be read, is larger than 1 MiB, is not such
/// JSON. Why is logged (channel "settings", level 512): no work of a user fails for want of settings.
PXPLATFORM_EXPORT std::shared_ptr<const core::Settings> getSettingsRoot();

/// Why there are no settings although there is a file, for programs that show it to their users; else empty.
PXPLATFORM_EXPORT std::string whySettingsCountAsNone();

}  // namespace settings::standalone
