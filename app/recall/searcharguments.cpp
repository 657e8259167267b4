#include "recall/searcharguments.h"

GenerationSchema SearchArguments::generationSchema()
{
    return GenerationSchema::object(
        QStringLiteral("Arguments"), std::nullopt,
        {{QStringLiteral("query"), QStringLiteral("The word or short phrase to search for"),
          GenerationSchema::stringType()}});
}

std::optional<SearchArguments> SearchArguments::from(const GeneratedContent& content)
{
    if (const auto query = content.string(QStringLiteral("query")))
        return SearchArguments{*query};
    return std::nullopt;
}
