#include "device_model.h"

#include <cerrno>

namespace board {

// Each model's file defines its type; the order is the order in which opens
// and commands are offered and the state lists the models' members.
extern const ModelType kFrameBufferModel;
extern const ModelType kEvdevModel;
extern const ModelType kUeventModel;
extern const ModelType kCommandsModel;
extern const ModelType kStorageModel;
extern const ModelType kEthernetModel;
extern const ModelType kBatteryModel;
extern const ModelType kVibratorModel;
extern const ModelType kGsensorModel;
extern const ModelType kTouchPanelModel;
extern const ModelType kCameraModel;
extern const ModelType kFlashModel;
extern const ModelType kSoundModel;

const std::vector<ModelType>& modelTypes()
{
    static const std::vector<ModelType> types = {
        kFrameBufferModel,
        kEvdevModel,
        kUeventModel,
        kCommandsModel,
        kStorageModel,
        kEthernetModel,
        kBatteryModel,
        kVibratorModel,
        kGsensorModel,
        kTouchPanelModel,
        kCameraModel,
        kFlashModel,
        kSoundModel,
    };
    return types;
}

IoctlResult DeviceModel::ioctl(Node&, uint32_t, uint64_t, const std::vector<uint8_t>&)
{
    return IoctlResult::fail(ENOTTY);
}

}
