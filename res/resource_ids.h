// Ids of the plug-in's resources and of their controls.
#pragma once

// Resource type of a template's init data (list and combo box items).
#define RT_DLGINIT_DATA 240

#define IDD_GSM_CONFIG 2000
#define IDC_KIND_LIST 2000
#define IDC_PORT_LIST 2001
#define IDC_DEVICE_LIST 2002
#define IDC_WAIT_REPORT 2003
#define IDC_FLASH 2004
#define IDC_PORT_RANGE 2012
#define IDC_CONNECTION_GROUP 2014
#define IDC_KIND_LABEL 2015
#define IDC_PORT_LABEL 2016
#define IDC_DEVICE_LABEL 2017
#define IDC_OPTIONS_GROUP 2018

#define IDD_ACCESS_HOST 2002
#define IDD_SMS_DOWNLOAD 2003
#define IDD_MODEM_CONFIG 2004
#define IDC_MESSAGE_LIST 2007
#define IDC_PROFILE_LIST 2008
#define IDC_DOWNLOAD_STATUS 2009
#define IDC_MESSAGE_TEXT 2011
#define IDC_PROFILE_GROUP 2013
