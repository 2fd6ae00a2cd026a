#include "engine/sql_engine.h"

#include "compile/sql_code_generator.h"
#include "language/sql_parser.h"
#include "schema/schema.h"

namespace ovrasql {

SQLEngine::SQLEngine(Schema& schema, void* hostDatabase)
    : schema_(schema),
      hostDatabase_(hostDatabase),
      generator_(std::make_unique<SQLCodeGenerator>(&schema)),
      loop_(&schema) {
    parser_ = std::make_unique<SQLParser>(generator_.get());
}

SQLEngine::~SQLEngine() = default;

int32_t SQLEngine::Compile(TextView text) {
    loop_.Unload();
    if (!parser_->Parse(text)) {
        return Error(parser_->Error().IsEmpty() ? generator_->Error() : parser_->Error());
    }
    if (!generator_->Compile()) {
        return Error(generator_->Error());
    }
    loop_.Load(generator_->Instructions(), generator_->InstructionCount(),
               generator_->DynamicCount(), schema_.CaseInsensitive());
    return 1;
}

int32_t SQLEngine::Run() {
    if (loop_.AtStart() && loop_.ProducesRows() && loop_.View() == nullptr && !loop_.Failed()) {
        return Error("SELECT is not valid in this context");
    }
    return loop_.Run();
}

}  // namespace ovrasql
