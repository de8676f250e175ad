// The yes/no question: a test's handler, a preset answer, else the system's own way of asking.
#include "platform/Question.h"
#include "platform/Platform.h"

namespace tq4::platform {
namespace {
std::atomic<QuestionHandler> questionHandler{nullptr};
}

void setQuestionHandler(QuestionHandler handler) { questionHandler.store(handler); }

Answer askYesNo(const std::string& title, const std::string& text) {
    if (QuestionHandler handler = questionHandler.load()) return handler(title, text);
    const std::string preset = getEnvironment("TQ4_QUESTION_ANSWER");
    if (preset == "yes" || preset == "YES" || preset == "Yes") return Answer::Yes;
    if (preset == "no" || preset == "NO" || preset == "No") return Answer::No;
    return askTheUser(title, text);
}

}  // namespace tq4::platform
