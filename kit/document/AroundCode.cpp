// Puts into words what plain code would drop, for messages that ask the user to decide.
#include "kit/document/AroundCode.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

bool isBlank(const std::string& text) { return text.find_first_not_of(" \t\r\n") == std::string::npos; }

bool isProse(const Paragraph& paragraph) { return !paragraph.code && !isBlank(paragraph.text()); }

bool hasMoreThanCode(const Paragraph& paragraph) {
    return paragraph.code && paragraph.text().size() > paragraph.code->size();
}

std::ptrdiff_t picturesIn(const Paragraph& paragraph) {
    return std::count_if(paragraph.runs.begin(), paragraph.runs.end(),
                         [](const Run& run) { return !run.picture.empty(); });
}

void append(std::string& words, std::ptrdiff_t count, const char* one, const char* many) {
    if (count != 0) {
        words += (words.empty() ? "" : ", ") + std::to_string(count) + " " + (count == 1 ? one : many);
    }
}

}  // namespace

std::string aroundCode(const RichText& document) {
    if (!document.fault.empty()) {
        return "a document that cannot be read";
    }
    const auto& paragraphs = document.paragraphs;
    std::ptrdiff_t pictures = 0;
    for (const Paragraph& paragraph : paragraphs) {
        pictures += picturesIn(paragraph);
    }
    std::string words;
    append(words, std::count_if(paragraphs.begin(), paragraphs.end(), isProse), "paragraph of prose",
           "paragraphs of prose");
    append(words, std::count_if(paragraphs.begin(), paragraphs.end(), hasMoreThanCode), "text beside code",
           "texts beside code");
    append(words, pictures, "picture", "pictures");
    return words;
}

}  // namespace flowbook::kit
