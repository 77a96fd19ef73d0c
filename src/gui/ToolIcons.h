// Icons of the toolbar buttons: the desktop theme's where it has one, else the style's standard
// pixmap, else one drawn here (the transport's symbols, which every theme draws alike anyway).
#pragma once

#include <QIcon>

#include <cstdint>
#include <string>

class QStyle;

namespace tw {

QIcon ToolIcon(uint32_t command, const std::string& themeName, const QStyle* style);

} // namespace tw
