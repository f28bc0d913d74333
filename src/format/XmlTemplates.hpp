#pragma once

#include <string>

/// The XML of new parts, byte for byte, and the setting that completes it. UTF-8.
namespace flowbook::format {

const std::string kEmptyRichCodeXml =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)"
    R"(<w:document xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main">)"
    R"(<w:body><w:p><w:pPr><w:pStyle w:val="code"/></w:pPr>)"
    R"(<w:r><w:t><![CDATA[]]></w:t></w:r></w:p></w:body></w:document>)";

const std::string kLayoutPlaceholder = "{LAYOUT_STATE}";

const std::string kEmptyOutputXml =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)"
    R"(<embeddedOutputs><metaData><evaluationState>manual</evaluationState>)"
    R"(<layoutState>{LAYOUT_STATE}</layoutState><outputStatus>ready</outputStatus></metaData>)"
    R"(<outputArray type="array"/><regionArray type="array"/></embeddedOutputs>)";

const std::string kEmptyStylesXml =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="yes" ?>)"
    R"(<w:styles xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main">)"
    R"(</w:styles>)";

const std::string kDisplaySettingsNode = "tarmic.editor.displaysettings";
const std::string kDefaultViewSetting = "DefaultView";
const std::string kDefaultLayout = "code";

}  // namespace flowbook::format
