# Every name under which the two binaries are copied. Those of the second list say something about VST 3 only.
set(module_names
    module_that_passes_through
    module_that_is_mono_only
    module_with_mono_buses
    module_with_a_side_chain
    module_with_two_inputs_and_six_outputs
    module_with_48000_samples_of_latency
    module_that_changes_its_latency
    module_with_a_tail
    module_with_an_endless_tail
    module_that_rings_for_ever
    module_that_puts_out_nan
    module_that_fails_to_process
    module_that_fails_to_open
    module_with_a_large_state
    module_with_an_empty_state
    module_without_chunks
    module_without_64_bit
    module_with_34_classes
    module_that_calls_back_from_its_own_thread
    module_that_is_an_instrument
    module_without_audio
    module_without_an_effect
    module_without_classes)
foreach(call IN ITEMS entry create open layout prepare start process stop save restore latency tail close)
    list(APPEND module_names module_that_crashes_in_${call} module_that_hangs_in_${call})
endforeach()
set(vst3_module_names
    module_without_a_controller
    module_with_a_separate_controller
    module_whose_controller_edits
    module_whose_controller_follows_a_meter
    module_with_names_in_unicode_only)
