// The same access through a library of messages described at run time: what a user of such a library would
// pay for an integer, by its descriptor and by its name. Built where that library is installed.

#include <benchmark/benchmark.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>

#include <memory>
#include <string>

namespace {

namespace pb = google::protobuf;

constexpr int fieldCount = 30;
constexpr const char* lastName = "FIELD_OF_A_RECORD_29";

/** A message of 30 integers, described at run time. */
class IntegersMessage {
  public:
    IntegersMessage() {
        pb::FileDescriptorProto file;
        file.set_name("integers.proto");
        pb::DescriptorProto* const type = file.add_message_type();
        type->set_name("INTEGERS");
        for (int index = 0; index < fieldCount; ++index) {
            pb::FieldDescriptorProto* const field = type->add_field();
            field->set_name((index < 10 ? "FIELD_OF_A_RECORD_0" : "FIELD_OF_A_RECORD_") +
                            std::to_string(index));
            field->set_number(index + 1);
            field->set_type(pb::FieldDescriptorProto::TYPE_INT32);
            field->set_label(pb::FieldDescriptorProto::LABEL_OPTIONAL);
        }
        descriptor = pool.BuildFile(file)->message_type(0);
        message.reset(factory.GetPrototype(descriptor)->New());
    }

    pb::DescriptorPool pool;
    pb::DynamicMessageFactory factory{&pool};
    const pb::Descriptor* descriptor = nullptr;
    std::unique_ptr<pb::Message> message;
};

void getByReflection(benchmark::State& state) {
    const IntegersMessage integers;
    const pb::FieldDescriptor* const field = integers.descriptor->field(fieldCount - 1);
    for (auto step : state) {
        (void)step;
        benchmark::DoNotOptimize(integers.message->GetReflection()->GetInt32(*integers.message, field));
        benchmark::ClobberMemory();
    }
}

void setByReflection(benchmark::State& state) {
    const IntegersMessage integers;
    const pb::FieldDescriptor* const field = integers.descriptor->field(fieldCount - 1);
    int value = 0;
    for (auto step : state) {
        (void)step;
        integers.message->GetReflection()->SetInt32(integers.message.get(), field, ++value);
        benchmark::ClobberMemory();
    }
}

void getByReflectionAndName(benchmark::State& state) {
    const IntegersMessage integers;
    for (auto step : state) {
        (void)step;
        const pb::FieldDescriptor* const field = integers.descriptor->FindFieldByName(lastName);
        benchmark::DoNotOptimize(integers.message->GetReflection()->GetInt32(*integers.message, field));
        benchmark::ClobberMemory();
    }
}

BENCHMARK(getByReflection);
BENCHMARK(setByReflection);
BENCHMARK(getByReflectionAndName);

}  // namespace
