#pragma once

#include <string>

/// The XML of new parts, in UTF-8. Their bytes are a part of the format, white space included. Below them are the
/// placeholder in the output part and the setting that takes its place.
namespace flowbook::format {

inline const std::string& kEmptyRichCodeXml =
    *new std::string(R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)"
                     R"(<w:document xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main">)"
                     R"(<w:body><w:p><w:pPr><w:pStyle w:val="code"/></w:pPr>)"
                     R"(<w:r><w:t><![CDATA[]]></w:t></w:r></w:p></w:body></w:document>)");

inline const std::string& kLayoutPlaceholder = *new std::string("{LAYOUT_STATE}");

inline const std::string& kEmptyOutputXml =
    *new std::string(R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)"
                     R"(<embeddedOutputs><metaData><evaluationState>manual</evaluationState>)"
                     R"(<layoutState>{LAYOUT_STATE}</layoutState><outputStatus>ready</outputStatus></metaData>)"
                     R"(<outputArray type="array"/><regionArray type="array"/></embeddedOutputs>)");

inline const std::string& kEmptyStylesXml =
    *new std::string(R"(<?xml version="1.0" encoding="UTF-8" standalone="yes" ?>)"
                     R"(<w:styles xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main">)"
                     R"(</w:styles>)");

/// The node of the settings, the value in it that names the layout, and the layout when neither is there.
inline const std::string& kDisplaySettingsNode = *new std::string("tarmic.editor.displaysettings");
inline const std::string& kDefaultViewSetting = *new std::string("DefaultView");
inline const std::string& kDefaultLayout = *new std::string("code");

}  // namespace flowbook::format
