include $(BR2_EXTERNAL_LTEROUTER_PATH)/lterouter/lterouter.mk
