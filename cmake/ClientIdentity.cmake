# The bundle's "client.p12": what the client presents to a server that wants a certificate.
#
# A deployment names its own file; without one a self-signed identity for demonstrations is made at build time. Where there is no
# openssl program there is no identity, and the client presents none.

set(MAV_CLIENT_IDENTITY "" CACHE FILEPATH "PKCS#12 file to carry as client.p12; empty makes one for demonstrations")
find_program(MAV_OPENSSL openssl)

# Sets <result> to the file to embed, or to nothing.
function(mav_client_identity result)
    set(${result} "${MAV_CLIENT_IDENTITY}" PARENT_SCOPE)
    if(MAV_CLIENT_IDENTITY OR NOT MAV_OPENSSL)
        return()
    endif()
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/identity)
    file(MAKE_DIRECTORY ${folder})
    add_custom_command(
        OUTPUT ${folder}/client.p12
        COMMAND ${MAV_OPENSSL} req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -days 3650
            -subj "/CN=Mav demonstration client" -keyout client.key -out client.pem
        COMMAND ${MAV_OPENSSL} pkcs12 -export -name client -inkey client.key -in client.pem -passout pass:482915
            -out client.p12
        COMMAND ${CMAKE_COMMAND} -E rm client.key
        WORKING_DIRECTORY ${folder}
        COMMENT "Making the demonstration client's identity"
        VERBATIM)
    set(${result} ${folder}/client.p12 PARENT_SCOPE)
endfunction()
