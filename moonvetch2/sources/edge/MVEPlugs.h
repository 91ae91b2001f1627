// Files of plug-ins: what they declare is read without running any of their code.
#pragma once

#include "MVELoad.h"
#include "MoonVetch/Host.h"

/// A section of a plain file holds its properties, or else an exported object does.
constexpr char kMVPropertiesSection[] = "mv_properties";
constexpr char kMVPropertiesObject[] = "MVPluginProperties";
/// Property lists of a bundle folder are the files of this ending, in this folder.
constexpr char kMVPropertiesFolder[] = "Contents/Resources";
constexpr char kMVPropertiesEnding[] = ".mvproperties";
