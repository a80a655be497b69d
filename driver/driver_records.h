// The driver's flat records translated into the engine's own.
#ifndef ALAD_DRIVER_DRIVER_RECORDS_H
#define ALAD_DRIVER_DRIVER_RECORDS_H

#include "alad/alad_driver.h"
#include "alad/alad_records.h"

namespace kelvo {

// A user record from the driver's eight fields: everything else cleared, except the field whose
// default is 65535.
ad_user_t_ UserRecordFromDriver(const ad_user_t_driver_& driver);
alad_display_model_ DisplayRecordFromDriver(const alad_display_model_driver_& driver);
alad_view_condition_ ViewRecordFromDriver(const alad_view_condition_driver_& driver);

}  // namespace kelvo

#endif  // ALAD_DRIVER_DRIVER_RECORDS_H
