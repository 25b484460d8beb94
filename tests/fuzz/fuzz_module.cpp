// Module images: examined without a finding, with a bounded number of reads; a module that is accepted says
// what it is.

#include "catalogue/image_builder.h"
#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    for (const int32_t preferred : {2, 3}) {
        memory_image image({data, data + size});
        const module_report report = examineModuleImage(image, preferred);
        require(image.reads <= 65536 + 8);
        const bool accepted = report.refusal == module_refusal::none;
        require(accepted == (report.vstVersion == 2 || report.vstVersion == 3));
        require(!accepted || !report.arch.empty());
    }
    return 0;
}
