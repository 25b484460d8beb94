// Module images: examined without a finding, with a bounded number of reads; a module that is accepted says
// what it is.

#include "catalogue/image_builder.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    for (const int32_t preferred : {2, 3}) {
        memory_image image({data, data + size});
        const module_report report = examineModuleImage(image, preferred);
        if (image.reads > 65536 + 8)
            std::abort();
        const bool accepted = report.refusal == module_refusal::none;
        if (accepted != (report.vstVersion == 2 || report.vstVersion == 3) ||
            (accepted && report.arch.empty()))
            std::abort();
    }
    return 0;
}
