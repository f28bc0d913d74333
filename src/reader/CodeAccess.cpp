// Reading the code, in its three forms: rich code as text, plain code, and rich code encrypted. The first call reads
// the part and keeps what it found, since callers ask for the same code repeatedly. The form that is kept is the one
// that costs the least memory and gives the other at little cost: the bytes as long as they suffice, the text of the
// rich code otherwise.
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "fl/i18n/codecvt_string_to_ustring.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "format/ThrowInternal.hpp"
#include "format/Vocabulary.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "reader/FlowbookFileReaderImpl.hpp"
#include "utils/Code.hpp"

namespace flowbook {

using opc::model::Part;

namespace {

/// The parameter alone counts, not its value: a reader that does not know the method cannot read the code either.
bool isEncrypted(const Part& part) { return part.getContentType().hasParameter(format::kEncryptionParameter); }

std::string_view asText(const std::vector<unsigned char>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// @throws fl::i18n::ConversionError that names the file and the part that is not UTF-8.
std::u16string toUstring(const std::vector<unsigned char>& utf8, const std::u16string& fileName, const Part& part) {
    try {
        return fl::i18n::codecvt_string_to_ustring("UTF-8")(asText(utf8));
    } catch (const fl::i18n::ConversionError& error) {
        const std::u16string where =
            u"package '" + fileName + u"', part '" + part.getName().getURI().toString() + u"': ";
        throw fl::i18n::ConversionError(fl::i18n::to_string(where) + error.what(), error.offset());
    }
}

}  // namespace

/// A relationship that leads nowhere is a failure of reading, not an absent part: the file says that there is one.
boost::optional<Part>
FlowbookFileReader::FlowbookFileReaderImpl::getPart(const std::u16string& relationshipType) const {
    try {
        const auto relationships = package_->getRelationshipsByType(relationshipType);
        if (relationships.empty()) {
            return boost::none;
        }
        // Of several relationships of the type the first counts, as the writer replaces what that one leads to.
        return package_->getPart(opc::model::PartName(relationships.front().getTargetURI()));
    } catch (const opc::Exception& failure) {
        detail::throwReadingFailure(fileName_, failure);
    }
}

Part FlowbookFileReader::FlowbookFileReaderImpl::getTARMICCodePart() const {
    boost::optional<Part> part = getPart(format::kDocumentRelationshipType);
    if (!part) {
        detail::throwInternal(FlowbookNotFound(fileName_));
    }
    return *part;
}

bool FlowbookFileReader::FlowbookFileReaderImpl::isPlainCode() const {
    const opc::model::ContentType type = getTARMICCodePart().getContentType();
    return type.hasParameter(format::kPlainCodeParameter) &&
           type.getParameterValue(format::kPlainCodeParameter) == format::kPlainCodeValue;
}

/// Reads the bytes of the rich code, which must not be encrypted.
FlowbookFileReader::FlowbookFileReaderImpl::Bytes FlowbookFileReader::FlowbookFileReaderImpl::readRichCode() const {
    const Part part = getTARMICCodePart();
    if (isEncrypted(part)) {
        detail::throwInternal(FlowbookEncrypted(fileName_));
    }
    Bytes bytes;
    opc::ByteArrayOutAdaptor out(bytes);
    opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
    return bytes;
}

/// Returns the rich code as text, which is kept from then on. The bytes that plain code may have left behind are given
/// up, as they are the same content once more.
std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getRichTARMICCode() const {
    if (!richCode_) {
        richCode_ = toUstring(richBytes_ ? *richBytes_ : readRichCode(), fileName_, getTARMICCodePart());
        richBytes_ = boost::none;
    }
    return *richCode_;
}

/// Returns the plain code. Code that was found in the bytes is kept only from the second call on: few callers ask
/// twice, the code takes twice the memory of the bytes, and finding it again costs little more than copying it.
std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getTARMICCode() const {
    const bool isAskedAgain = richBytes_ || richCode_;
    if (!code_) {
        std::u16string code = findCode();
        if (richBytes_ && !isAskedAgain) {
            return code;
        }
        code_ = std::move(code);
    }
    return *code_;
}

/// Finds the code in what is kept, or else reads it. A document that is no XML has no code, and the caller gets the
/// exception for that; the kind still says that the file is damaged.
std::u16string FlowbookFileReader::FlowbookFileReaderImpl::findCode() const {
    try {
        if (richCode_) {
            return FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(*richCode_);
        }
        return richBytes_ ? detail::scanForCode(asText(*richBytes_)).value() : readCode();
    } catch (const opc::model::InvalidXMLDocument& failure) {
        FlowbookNotFound error(fileName_, kindOf(failure));
        error.setPart(fl::i18n::to_string(getTARMICCodePart().getName().toString()));
        detail::throwInternal(error);
    }
}

/// Reads the part and returns its plain code. Mostly the code is found straight in the bytes. These are kept as they
/// are then, and become text only for a caller that asks for the rich code too.
std::u16string FlowbookFileReader::FlowbookFileReaderImpl::readCode() const {
    Bytes bytes = readRichCode();
    if (std::optional<std::u16string> code = detail::scanForCode(asText(bytes))) {
        richBytes_ = std::move(bytes);
        return std::move(*code);
    }
    richCode_ = toUstring(bytes, fileName_, getTARMICCodePart());
    Bytes().swap(bytes);  // freed before the tree of the document is made, which takes many times their memory
    return detail::codeByDom(*richCode_);
}

/// Hands over encrypted code as it stands; nothing is decrypted here. It is read once and kept for further calls.
void FlowbookFileReader::FlowbookFileReaderImpl::getEncryptedRichTARMICCode(opc::OutputStream& out) const {
    if (!encryptedRichCode_) {
        const Part part = getTARMICCodePart();
        if (!isEncrypted(part)) {
            detail::throwInternal(FlowbookNotEncrypted(fileName_));
        }
        encryptedRichCode_ = Bytes();
        opc::ByteArrayOutAdaptor bytes(*encryptedRichCode_);
        opc::StreamHelper::copyStreamToStream(*part.getInputStream(), bytes);
    }
    opc::ByteArrayInAdaptor in(*encryptedRichCode_);
    opc::StreamHelper::copyStreamToStream(in, out);
}

}  // namespace flowbook
