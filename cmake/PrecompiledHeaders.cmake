# The headers that nearly every source reads, compiled once for a whole build. clang-tidy reads the sources without them, so
# that a missing include does not go unseen. After the packages were found, before the first target of ours.
option(MAV_PCH "Precompile the headers that everybody reads" OFF)

if(MAV_PCH)
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/MavHeaders.cpp "")
    add_library(MavHeaders STATIC ${CMAKE_CURRENT_BINARY_DIR}/MavHeaders.cpp)
    set_target_properties(MavHeaders PROPERTIES AUTOMOC OFF AUTOUIC OFF AUTORCC OFF)
    target_link_libraries(MavHeaders PRIVATE MavOptions Qt6::Core)
    target_precompile_headers(MavHeaders PRIVATE
        <QtCore/QDateTime> <QtCore/QDir> <QtCore/QFile> <QtCore/QFileInfo> <QtCore/QHash> <QtCore/QJsonArray>
        <QtCore/QJsonDocument> <QtCore/QJsonObject> <QtCore/QList> <QtCore/QMap> <QtCore/QObject> <QtCore/QPointer>
        <QtCore/QString> <QtCore/QStringList> <QtCore/QTimer> <QtCore/QVariant>
        <algorithm> <atomic> <chrono> <functional> <memory> <mutex> <optional> <thread> <vector>)
    # Lets the compiler cache see what a precompiled header stands for.
    target_compile_options(MavOptions INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess>)
endif()

function(mav_precompile target)
    if(MAV_PCH)
        target_precompile_headers(${target} REUSE_FROM MavHeaders)
    endif()
endfunction()
