foreach(unit byte_order bit_array data_pack plc_address drv_dev_setting)
  kv_test(${unit} LIBRARIES tools)
endforeach()
